// SPDX-License-Identifier: Apache-2.0
#include "http/content_range.h"

#include <limits>

namespace zephran::http {

namespace {

constexpr const char* unit = "bytes ";
constexpr const char* unknown = "*";

std::optional<std::uint64_t> parse_number(const std::string& digits) {
    constexpr std::size_t most_digits = std::numeric_limits<std::uint64_t>::digits10;
    if (digits.empty() || digits.size() > most_digits ||
        digits.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    return std::stoull(digits);
}

/// Reads "first-last".
bool read_span(const std::string& text, ContentRange& range) {
    const auto dash = text.find('-');
    if (dash == std::string::npos) {
        return false;
    }
    range.first = parse_number(text.substr(0, dash));
    range.last = parse_number(text.substr(dash + 1));
    return range.first && range.last && *range.first <= *range.last;
}

}  // namespace

std::optional<ContentRange> parse_content_range(const std::string& text) {
    const std::string prefix = unit;
    const auto slash = text.find('/');
    if (text.compare(0, prefix.size(), prefix) != 0 || slash == std::string::npos) {
        return std::nullopt;
    }
    const std::string span = text.substr(prefix.size(), slash - prefix.size());
    const std::string size = text.substr(slash + 1);
    ContentRange range;
    range.size = parse_number(size);
    if (!range.size && size != unknown) {
        return std::nullopt;
    }
    if (span == unknown) {
        return range.size ? std::make_optional(range) : std::nullopt;
    }
    const bool fits = read_span(span, range) && (!range.size || *range.last < *range.size);
    return fits ? std::make_optional(range) : std::nullopt;
}

bool is_rest_of_file(const std::string& text, std::uint64_t from, std::uint64_t size) {
    const auto range = parse_content_range(text);
    return range && range->first == from && range->last && *range->last + 1 == size &&
           (!range->size || range->size == size);
}

}  // namespace zephran::http
