// SPDX-License-Identifier: Apache-2.0
#include "uci/uci_library.h"

#include <dlfcn.h>

namespace zephran {

const UciLibrary UciLibrary::Default{"libuci.so"};

UciLibrary::UciLibrary(const char* file_name) : handle{dlopen(file_name, RTLD_LAZY)} {
    if (handle == nullptr) {
        return;
    }
    available = bind(alloc_context, "uci_alloc_context") &&
                bind(free_context, "uci_free_context") && bind(lookup_ptr, "uci_lookup_ptr") &&
                bind(set, "uci_set") && bind(save, "uci_save") && bind(commit, "uci_commit") &&
                bind(add_delta_path, "uci_add_delta_path") && bind(remove, "uci_delete");
}

template <class Function>
bool UciLibrary::bind(Function*& function, const char* symbol) {
    function = reinterpret_cast<Function*>(dlsym(handle, symbol));
    return function != nullptr;
}

}  // namespace zephran
