// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zephran::http {

/// A Content-Range of bytes (RFC 9110, 14.4).
struct ContentRange {
    /// None in the answer to a range that the file does not have.
    std::optional<std::uint64_t> first;
    std::optional<std::uint64_t> last;
    /// Of the whole file; none if the server does not know it.
    std::optional<std::uint64_t> size;
};

/// None for a text that is none, or whose numbers contradict each other.
[[nodiscard]] std::optional<ContentRange> parse_content_range(const std::string& text);

/// Whether the header says: from this byte to the end of a file of this size.
[[nodiscard]] bool is_rest_of_file(const std::string& text, std::uint64_t from, std::uint64_t size);

}  // namespace zephran::http
