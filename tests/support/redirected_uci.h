// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include <dlfcn.h>

#include "libuci/abi.h"
#include "support/temporary_directory.h"
#include "uci/uci_config.h"
#include "uci/uci_library.h"

namespace zephran {

/// The libuci of the build, with its directories in a temporary one. It must outlive the
/// stores that use it.
class RedirectedUci {
public:
    RedirectedUci()
        : set_confdir{find<decltype(uci_standin::uci_set_confdir)>("uci_set_confdir")},
          set_savedir{find<decltype(uci_standin::uci_set_savedir)>("uci_set_savedir")} {}
    RedirectedUci(const RedirectedUci&) = delete;
    RedirectedUci& operator=(const RedirectedUci&) = delete;

    [[nodiscard]] UciConfig::Environment environment() const {
        return {&library, [this](void* opened) {
                    auto* const context = static_cast<uci_standin::uci_context*>(opened);
                    set_confdir(context, confdir.c_str());
                    set_savedir(context, savedir.c_str());
                }};
    }

    TemporaryDirectory directory;
    std::string confdir = directory.path("config");
    std::string savedir = directory.path("saved");
    UciLibrary library{LIBUCI_PATH};

private:
    template <class Function>
    static Function* find(const char* name) {
        void* const address = dlsym(dlopen(LIBUCI_PATH, RTLD_LAZY), name);
        if (address == nullptr) {
            throw std::runtime_error{dlerror()};
        }
        return reinterpret_cast<Function*>(address);
    }

    decltype(uci_standin::uci_set_confdir)* set_confdir;
    decltype(uci_standin::uci_set_savedir)* set_savedir;
};

}  // namespace zephran
