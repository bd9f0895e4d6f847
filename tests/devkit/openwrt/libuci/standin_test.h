// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "libuci/abi.h"
#include "support/temporary_directory.h"

namespace zephran::uci_standin {

/// The functions of the library, found the way a program finds them on a device.
class Library {
public:
    Library() : handle{dlopen(LIBUCI_PATH, RTLD_LAZY)} {
        if (handle == nullptr) {
            throw std::runtime_error{dlerror()};
        }
    }

    template <class Symbol>
    Symbol* find(const char* name) const {
        void* const address = dlsym(handle, name);
        if (address == nullptr) {
            throw std::runtime_error{dlerror()};
        }
        return reinterpret_cast<Symbol*>(address);
    }

private:
    void* handle;
};

/// One context on the directories of a test, and the result of its last lookup.
class Session {
public:
    explicit Session(const TemporaryDirectory& directory) {
        library.find<decltype(uci_set_confdir)>("uci_set_confdir")(
            context.get(), directory.path("config").c_str());
        save_in(directory.path("saved"));
    }

    void save_in(const std::string& path) {
        library.find<decltype(uci_set_savedir)>("uci_set_savedir")(context.get(), path.c_str());
    }

    int lookup(const std::string& key, bool extended = true) {
        text = key;
        return library.find<decltype(uci_lookup_ptr)>("uci_lookup_ptr")(context.get(), &pointer,
                                                                        text.data(), extended);
    }
    int set() { return library.find<decltype(uci_set)>("uci_set")(context.get(), &pointer); }
    int remove() {
        return library.find<decltype(uci_delete)>("uci_delete")(context.get(), &pointer);
    }
    int save() { return library.find<decltype(uci_save)>("uci_save")(context.get(), pointer.p); }
    int commit(bool overwrite = false) {
        return library.find<decltype(uci_commit)>("uci_commit")(context.get(), &pointer.p,
                                                                overwrite);
    }
    int add_delta_path(const std::string& path) {
        return library.find<decltype(uci_add_delta_path)>("uci_add_delta_path")(context.get(),
                                                                                path.c_str());
    }

    [[nodiscard]] bool complete() const { return (pointer.flags & lookup_complete) != 0; }
    /// The option's value, or a text that no value has.
    [[nodiscard]] std::string value() const {
        const bool is_string =
            complete() && pointer.o != nullptr && pointer.o->type == string_option;
        return is_string ? pointer.o->v.string : "<none>";
    }

    Library library;
    std::string text;
    uci_ptr pointer{};
    std::unique_ptr<uci_context, void (*)(uci_context*)> context{
        library.find<decltype(uci_alloc_context)>("uci_alloc_context")(),
        library.find<decltype(uci_free_context)>("uci_free_context")};
};

/// A configuration directory with one package, "demo".
class StandinTest : public testing::Test {
protected:
    static constexpr const char* demo_text =
        "# a comment\n"
        "config service 'main'\n"
        "\toption enabled '1'\n"
        "\toption name 'gateway'\n"
        "\tlist server 'one'\n"
        "\tlist server 'two'\n"
        "\n"
        "config rule\n"
        "\toption port '80'\n"
        "\n"
        "config rule\n"
        "\toption port '443'\n";

    StandinTest() { directory.write("config/demo", demo_text); }

    /// What a program sees that starts now.
    [[nodiscard]] std::string read_anew(const std::string& key) const {
        Session session{directory};
        const int result = session.lookup(key);
        return result == ok ? session.value() : "<error " + std::to_string(result) + ">";
    }

    TemporaryDirectory directory;
};

}  // namespace zephran::uci_standin
