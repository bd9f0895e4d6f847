#pragma once

#include <cstddef>

namespace zephran::ubox {

/// Whether encoded values are nested no deeper than allowed. Malformed values count as flat: the
/// library that converts a message skips them.
///
/// An attribute is a big-endian word (bit 31: has a name, bits 24 to 30: type, the others: length
/// with the word itself), the length and the bytes of a name, and the value; the next one starts at
/// a multiple of 4.
///
/// @param values attributes one after another
/// @param size   bytes
[[nodiscard]] bool is_nested_at_most(unsigned depth, const unsigned char* values, std::size_t size);

}  // namespace zephran::ubox
