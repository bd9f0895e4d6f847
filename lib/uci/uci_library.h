#pragma once

extern "C" {
struct uci_context;
struct uci_package;
struct uci_ptr;
}

namespace zephran {

/// libuci, bound at run time, so that the daemon also starts where the library is missing.
///
/// A library once opened is never closed: threads that still read the configuration while the
/// process ends must not lose the code they run.
class UciLibrary {
public:
    /// Opens the library lazily and looks all functions up; failures only leave `available` false.
    ///
    /// @param file_name a path, or a bare name for the search of dlopen(3)
    explicit UciLibrary(const char* file_name);

    /// The binding of "libuci.so", made before main() runs.
    static const UciLibrary Default;

    /// Functions without exception: all of them are bound exactly when `available` is true. Those
    /// that return int give 0 for success, else one of libuci's error numbers.
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
