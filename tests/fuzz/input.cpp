// SPDX-License-Identifier: Apache-2.0
#include "fuzz/input.h"

#include <algorithm>

namespace zephran::fuzz {

std::uint8_t Input::byte() {
    return is_at_end() ? std::uint8_t{0} : static_cast<std::uint8_t>(bytes[position++]);
}

std::string Input::text() {
    constexpr char separator = '\xff';
    const std::size_t begin = std::min(position, bytes.size());
    const std::size_t end = std::min(bytes.find(separator, begin), bytes.size());
    position = end + 1;
    return bytes.substr(begin, end - begin);
}

std::vector<std::string> Input::texts() {
    std::vector<std::string> all;
    while (!is_at_end()) {
        all.push_back(text());
    }
    return all;
}

std::string Input::rest() {
    const std::size_t begin = std::min(position, bytes.size());
    position = bytes.size();
    return bytes.substr(begin);
}

}  // namespace zephran::fuzz
