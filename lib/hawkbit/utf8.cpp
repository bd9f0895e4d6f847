// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/utf8.h"

#include <algorithm>
#include <array>

namespace zephran::hawkbit::utf8 {
namespace {

/// One row of RFC 3629, section 4: which second byte may follow a first one. All later bytes are
/// 80 to BF.
struct SequenceForm {
    unsigned char first_min;
    unsigned char first_max;
    unsigned char second_min;
    unsigned char second_max;
    std::size_t length;
};

constexpr std::array<SequenceForm, 8> long_forms{{
    {0xC2, 0xDF, 0x80, 0xBF, 2},
    {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3},
    {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4},
    {0xF4, 0xF4, 0x80, 0x8F, 4},
}};

unsigned char byte_at(const std::string& text, std::size_t position) {
    return static_cast<unsigned char>(text[position]);
}

bool is_within(unsigned char byte, unsigned char minimum, unsigned char maximum) {
    return minimum <= byte && byte <= maximum;
}

/// Behind the last byte of a text stands a NUL, which continues no sequence.
bool has_form(const std::string& text, std::size_t position, const SequenceForm& form) {
    if (!is_within(byte_at(text, position), form.first_min, form.first_max) ||
        !is_within(byte_at(text, position + 1), form.second_min, form.second_max)) {
        return false;
    }
    for (std::size_t i = 2; i < form.length; ++i) {
        if (!is_continuation(text[position + i])) {
            return false;
        }
    }
    return true;
}

/// UTF-16 units that the character with this first byte takes.
std::size_t units_of(char first_byte) {
    constexpr unsigned char first_of_four_bytes = 0xF0;
    return static_cast<unsigned char>(first_byte) >= first_of_four_bytes ? 2 : 1;
}

}  // namespace

std::size_t sequence_length(const std::string& text, std::size_t position) {
    constexpr unsigned char first_beyond_ascii = 0x80;

    if (byte_at(text, position) < first_beyond_ascii) {
        return 1;
    }
    for (const auto& form : long_forms) {
        if (has_form(text, position, form)) {
            return form.length;
        }
    }
    return 0;
}

bool is_continuation(char byte) {
    constexpr unsigned char mask = 0xC0;
    constexpr unsigned char pattern = 0x80;
    return (static_cast<unsigned char>(byte) & mask) == pattern;
}

std::size_t count_characters(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !is_continuation(byte); }));
}

std::size_t count_utf16_units(const std::string& text) {
    std::size_t units = 0;
    for (const char byte : text) {
        units += is_continuation(byte) ? 0 : units_of(byte);
    }
    return units;
}

std::size_t prefix_end(const std::string& text, std::size_t units) {
    std::size_t used = 0;
    for (std::size_t position = 0; position < text.size(); ++position) {
        if (is_continuation(text[position])) {
            continue;
        }
        used += units_of(text[position]);
        if (used > units) {
            return position;
        }
    }
    return text.size();
}

std::size_t suffix_begin(const std::string& text, std::size_t units) {
    std::size_t used = 0;
    std::size_t begin = text.size();
    for (std::size_t position = text.size(); position-- > 0;) {
        if (is_continuation(text[position])) {
            continue;
        }
        used += units_of(text[position]);
        if (used > units) {
            break;
        }
        begin = position;
    }
    return begin;
}

}  // namespace zephran::hawkbit::utf8
