// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace zephran::ubox {

/// Whether encoded values are nested no deeper than allowed. Malformed values count as flat: the
/// library skips them when it converts a message.
///
/// An attribute is a big-endian word (bit 31: has a name, bits 24 to 30: type, the others: length
/// including this word), then the length and the bytes of the name, then the value. The next one
/// starts at a multiple of 4.
///
/// @param values attributes one after another
/// @param size   bytes
[[nodiscard]] bool is_nested_at_most(unsigned depth, const unsigned char* values, std::size_t size);

}  // namespace zephran::ubox
