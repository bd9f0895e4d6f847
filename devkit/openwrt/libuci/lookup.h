// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "abi.h"

namespace zephran::uci_standin {

class Store;

/// Fills the pointer from the key text, which it modifies and keeps pointers to. Success says only
/// that the package could be read: a section or option that is missing leaves the flag
/// lookup_complete clear. A malformed key leaves a zeroed pointer.
///
/// @throws Failure parse_error, invalid, not_found, io_error
void lookup(Store& store, uci_ptr& pointer, char* text, bool extended);

/// Sets what the pointer names to its value. A section is created by `package.section=TYPE` only,
/// never for an option; an empty value deletes; a value that is already there changes nothing.
///
/// @throws Failure invalid
void set(Store& store, uci_ptr& pointer);

/// @throws Failure not_found when there is no such section or option, invalid
void remove(Store& store, uci_ptr& pointer);

}  // namespace zephran::uci_standin
