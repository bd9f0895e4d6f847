// SPDX-License-Identifier: Apache-2.0
#include "ubus/nesting.h"

#include <cstdint>

namespace zephran::ubox {

namespace {

constexpr std::size_t word_size = 4;
constexpr std::uint32_t has_name = 1U << 31U;
constexpr std::uint32_t array_type = 1;
constexpr std::uint32_t table_type = 2;

std::uint32_t read_word(const unsigned char* bytes) {
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < word_size; ++i) {
        word = word << 8U | bytes[i];
    }
    return word;
}

std::size_t padded(std::size_t size) {
    return (size + word_size - 1) / word_size * word_size;
}

/// Bytes from the start of an attribute to its value; more than its length if the name does not
/// fit.
std::size_t header_size(const unsigned char* attribute, std::size_t length) {
    if ((read_word(attribute) & has_name) == 0) {
        return word_size;
    }
    if (length < 2 * word_size) {
        return length + 1;
    }
    const std::size_t name_length = read_word(attribute + word_size) >> 16U;
    constexpr std::size_t length_and_end = 3;
    return word_size + padded(length_and_end + name_length);
}

}  // namespace

// NOLINTNEXTLINE(misc-no-recursion): bounded by the depth it checks
bool is_nested_at_most(unsigned depth, const unsigned char* values, std::size_t size) {
    constexpr std::uint32_t length_bits = 0xffffff;
    constexpr std::uint32_t type_bits = 0x7f;
    std::size_t rest = size;
    for (const unsigned char* at = values; rest >= word_size;) {
        const std::uint32_t word = read_word(at);
        const std::size_t length = word & length_bits;
        const std::uint32_t type = word >> 24U & type_bits;
        if (length < word_size || length > rest) {
            return true;
        }
        const bool is_container = type == array_type || type == table_type;
        const std::size_t header = header_size(at, length);
        if (is_container && length >= header) {
            if (depth == 0 || !is_nested_at_most(depth - 1, at + header, length - header)) {
                return false;
            }
        }
        const std::size_t step = padded(length);
        if (step > rest) {
            return true;
        }
        at += step;
        rest -= step;
    }
    return true;
}

}  // namespace zephran::ubox
