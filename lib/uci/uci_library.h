// SPDX-License-Identifier: Apache-2.0
#pragma once

extern "C" {
struct uci_context;
struct uci_package;
struct uci_ptr;
}

namespace zephran {

/// libuci, loaded at run time so that the daemon starts without it too.
///
/// The library is never closed: threads may still be running its code while the process ends.
class UciLibrary {
public:
    /// Opens the library and looks up its functions. On failure `available` stays false.
    ///
    /// @param file_name a path, or a name that dlopen(3) searches for
    explicit UciLibrary(const char* file_name);

    /// The binding of "libuci.so", made before main() runs.
    static const UciLibrary Default;

    /// Valid only if `available`. Those that return int return 0 on success, otherwise one of
    /// libuci's error numbers.
    uci_context* (*alloc_context)() = nullptr;
    void (*free_context)(uci_context*) = nullptr;
    /// Modifies the text and keeps pointers to it.
    int (*lookup_ptr)(uci_context*, uci_ptr*, char* text, bool extended) = nullptr;
    int (*set)(uci_context*, uci_ptr*) = nullptr;
    int (*save)(uci_context*, uci_package*) = nullptr;
    int (*commit)(uci_context*, uci_package**, bool overwrite) = nullptr;
    int (*add_delta_path)(uci_context*, const char* directory) = nullptr;
    int (*remove)(uci_context*, uci_ptr*) = nullptr;

    /// True when the library was opened and has every function.
    bool available = false;

private:
    template <class Function>
    bool bind(Function*& function, const char* symbol);

    void* handle = nullptr;
};

}  // namespace zephran
