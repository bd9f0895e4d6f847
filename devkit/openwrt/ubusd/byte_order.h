#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zephran::ubusd {

/// Everything starts at a multiple of this.
constexpr std::size_t alignment = 4;

constexpr std::size_t padded(std::size_t length) {
    return (length + alignment - 1) / alignment * alignment;
}

/// Reads `size` bytes, at most four, as an unsigned number with the highest byte first.
inline std::uint32_t read_number(std::string_view bytes, std::size_t offset, std::size_t size) {
    std::uint32_t number = 0;
    for (const char byte : bytes.substr(offset, size)) {
        number = (number << 8U) | static_cast<unsigned char>(byte);
    }
    return number;
}

/// Appends the lowest `size` bytes of a number, highest byte first.
inline void append_number(std::string& bytes, std::uint32_t number, std::size_t size) {
    for (std::size_t left = size; left > 0; --left) {
        bytes.push_back(static_cast<char>((number >> (8U * (left - 1))) & 0xffU));
    }
}

}  // namespace zephran::ubusd
