// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zephran::fuzz {

/// Takes the bytes of one input apart. What is asked for beyond their end is empty or zero.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : bytes{reinterpret_cast<const char*>(data), size} {}

    [[nodiscard]] bool is_at_end() const { return position >= bytes.size(); }
    std::uint8_t byte();
    /// Up to the next byte 0xff, which no text in UTF-8 has, or up to the end.
    std::string text();
    /// All further ones.
    std::vector<std::string> texts();
    std::string rest();

private:
    std::string bytes;
    std::size_t position = 0;
};

}  // namespace zephran::fuzz
