// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace zephran::hawkbit::utf8 {

/// Length in bytes of the UTF-8 sequence that begins at `position`, 0 if it is not valid there
/// (RFC 3629: shortest form only, no surrogates, nothing above U+10FFFF).
[[nodiscard]] std::size_t sequence_length(const std::string& text, std::size_t position);

/// True for the bytes of a sequence that follow its first one.
[[nodiscard]] bool is_continuation(char byte);

/// How many characters a valid text holds.
[[nodiscard]] std::size_t count_characters(const std::string& text);

/// How many UTF-16 units a valid text takes: two for a character outside the basic plane.
[[nodiscard]] std::size_t count_utf16_units(const std::string& text);

/// End of the longest beginning of a valid text that takes at most `units` UTF-16 units.
[[nodiscard]] std::size_t prefix_end(const std::string& text, std::size_t units);

/// Start of the longest end of a valid text that takes at most `units` UTF-16 units.
[[nodiscard]] std::size_t suffix_begin(const std::string& text, std::size_t units);

}  // namespace zephran::hawkbit::utf8
