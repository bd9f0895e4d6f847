// SPDX-License-Identifier: Apache-2.0
// All functions except uci_delete. None is ever called: an incomplete library is not used.
#include <cstdlib>

#define NEVER_CALLED(name)                               \
    __attribute__((visibility("default"))) void name() { \
        std::abort();                                    \
    }

extern "C" {

NEVER_CALLED(uci_alloc_context)
NEVER_CALLED(uci_free_context)
NEVER_CALLED(uci_lookup_ptr)
NEVER_CALLED(uci_set)
NEVER_CALLED(uci_save)
NEVER_CALLED(uci_commit)
NEVER_CALLED(uci_add_delta_path)

}  // extern "C"
