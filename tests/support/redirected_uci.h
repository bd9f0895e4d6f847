// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>
#include <string>

#include "libuci/abi.h"
#include "support/temporary_directory.h"
#include "uci/uci_config.h"
#include "uci/uci_library.h"

namespace zephran {

/// The stand-in for libuci, with its directories in a temporary one. It must outlive the
/// stores that use it.
class RedirectedUci {
public:
    RedirectedUci() = default;
    RedirectedUci(const RedirectedUci&) = delete;
    RedirectedUci& operator=(const RedirectedUci&) = delete;

    [[nodiscard]] UciConfig::Environment environment() const {
        return {&library, [this](void* opened) {
                    auto* const context = static_cast<uci_standin::uci_context*>(opened);
                    // The context frees them.
                    context->confdir = strdup(confdir.c_str());
                    context->savedir = strdup(savedir.c_str());
                }};
    }

    TemporaryDirectory directory;
    std::string confdir = directory.path("config");
    std::string savedir = directory.path("saved");
    UciLibrary library{UCI_STANDIN_PATH};
};

}  // namespace zephran
