// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "abi.h"

namespace zephran::uci_standin {

/// Splits "package[.section[.option]][=value]" in place, at the first "=" and then at dots, and
/// sets the four texts of the pointer; absent parts are null.
///
/// @param extended whether "@type[index]" may stand for a section
/// @throws Failure parse_error for a malformed package, option or value, invalid for a malformed
///         section; the texts of the pointer are not to be used then
void split_key(char* text, bool extended, uci_ptr& pointer);

/// A section named by its place.
struct IndexedSection {
    /// Empty for a section of any type.
    std::string type;
    long index = 0;
};

bool is_indexed_section(const char* section);
/// @throws Failure invalid
IndexedSection parse_indexed_section(const char* section);

/// Letters, digits and "_", at least one.
bool is_identifier(const std::string& text);
/// Printable ASCII without blanks, at least one character.
bool is_type(const std::string& text);

}  // namespace zephran::uci_standin
