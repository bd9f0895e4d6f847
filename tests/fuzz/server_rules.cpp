// SPDX-License-Identifier: Apache-2.0
#include "fuzz/server_rules.h"

#include <algorithm>
#include <string_view>

#include "fuzz/target.h"

namespace zephran::fuzz {

namespace {

constexpr std::size_t piece = 512;
constexpr std::size_t too_many_pieces = 40;

/// Bytes that follow a first one, and the bits that it carries itself; none for a byte that is no
/// first one.
struct Sequence {
    unsigned more;
    char32_t bits;
};

bool begins_sequence(unsigned char byte, Sequence& sequence) {
    if (byte < 0x80U) {
        sequence = {0, byte};
    } else if (byte >= 0xC2U && byte < 0xE0U) {
        sequence = {1, byte & 0x1FU};
    } else if (byte >= 0xE0U && byte < 0xF0U) {
        sequence = {2, byte & 0x0FU};
    } else if (byte >= 0xF0U && byte < 0xF5U) {
        sequence = {3, byte & 0x07U};
    } else {
        return false;
    }
    return true;
}

bool is_shortest_and_legal(char32_t code, unsigned more) {
    const bool is_surrogate = code >= 0xD800U && code <= 0xDFFFU;
    const bool is_too_long = (more == 2 && code < 0x800U) || (more == 3 && code < 0x10000U);
    return !is_surrogate && !is_too_long && code <= 0x10FFFFU;
}

void append(std::u16string& units, char32_t code) {
    if (code < 0x10000U) {
        units += static_cast<char16_t>(code);
    } else {
        units += static_cast<char16_t>(0xD800U + ((code - 0x10000U) >> 10U));
        units += static_cast<char16_t>(0xDC00U + ((code - 0x10000U) & 0x3FFU));
    }
}

/// Java's Character.isWhitespace().
bool is_blank(char16_t unit) {
    const bool is_separator = unit == 0x20 || unit == 0x1680 ||
                              (unit >= 0x2000 && unit <= 0x200A && unit != 0x2007) ||
                              unit == 0x2028 || unit == 0x2029 || unit == 0x205F || unit == 0x3000;
    return is_separator || (unit >= 0x09 && unit <= 0x0D) || (unit >= 0x1C && unit <= 0x1F);
}

std::u16string strip(const std::u16string& units) {
    const auto is_text = [](char16_t unit) { return !is_blank(unit); };
    const auto begin = std::find_if(units.begin(), units.end(), is_text);
    const auto end = std::find_if(units.rbegin(), units.rend(), is_text).base();
    return begin < end ? std::u16string{begin, end} : std::u16string{};
}

bool is_control(char16_t unit) {
    return (unit < 0x20 && unit != '\n' && unit != '\t') || (unit >= 0x7F && unit <= 0x9F);
}

bool holds_markup(const std::u16string& units) {
    static const std::u16string after_bracket =
        u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz/!?";
    for (std::size_t i = 0; i + 1 < units.size(); ++i) {
        if (units[i] == u'<' && after_bracket.find(units[i + 1]) != std::u16string::npos) {
            return true;
        }
    }
    return false;
}

void require_whole_characters(const std::u16string& stored) {
    for (std::size_t cut = piece; cut < stored.size(); cut += piece) {
        const bool is_second_half = stored[cut] >= 0xDC00 && stored[cut] <= 0xDFFF;
        require(!is_second_half, "no cut goes through a character");
    }
}

}  // namespace

bool read_utf8(const std::string& text, std::u16string& units) {
    units.clear();
    for (std::size_t i = 0; i < text.size();) {
        Sequence sequence{};
        if (!begins_sequence(static_cast<unsigned char>(text[i++]), sequence)) {
            return false;
        }
        char32_t code = sequence.bits;
        for (unsigned more = sequence.more; more > 0; --more) {
            const auto next = static_cast<unsigned char>(i < text.size() ? text[i++] : '\0');
            if ((next & 0xC0U) != 0x80U) {
                return false;
            }
            code = (code << 6U) | (next & 0x3FU);
        }
        if (!is_shortest_and_legal(code, sequence.more)) {
            return false;
        }
        append(units, code);
    }
    return true;
}

void require_acceptable(const std::vector<std::string>& details) {
    std::size_t pieces = 0;
    for (const std::string& detail : details) {
        std::u16string units;
        require(read_utf8(detail, units), "a detail is valid UTF-8");
        require(std::none_of(units.begin(), units.end(), is_control),
                "a detail has no control characters");
        require(!holds_markup(units), "a detail has no markup");
        const std::u16string stored = strip(units);
        require_whole_characters(stored);
        pieces += std::max<std::size_t>(1, (stored.size() + piece - 1) / piece);
    }
    require(pieces < too_many_pieces, "a report takes fewer than 40 pieces");
}

}  // namespace zephran::fuzz
