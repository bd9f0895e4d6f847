#pragma once

#include <string_view>

namespace zephran::ubusd {

/// Whether a name is the pattern, or starts with what stands before the pattern's final `*`.
inline bool matches(std::string_view pattern, std::string_view name) {
    if (pattern.empty() || pattern.back() != '*') {
        return pattern == name;
    }
    pattern.remove_suffix(1);
    return name.substr(0, pattern.size()) == pattern;
}

}  // namespace zephran::ubusd
