// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/utf8.h"

#include <array>
#include <cstdint>
#include <utility>

#include <gtest/gtest.h>

namespace zephran::hawkbit::utf8 {
namespace {

const std::string euro = "\xE2\x82\xAC";       // three bytes, one unit
const std::string emoji = "\xF0\x9F\x98\x80";  // four bytes, two units

TEST(Utf8, FirstAndLastCharacterOfEachLengthAreValid) {
    for (const auto& [text, length] : {std::pair<std::string, std::size_t>{std::string(1, '\0'), 1},
                                       {"\x7F", 1},
                                       {"\xC2\x80", 2},
                                       {"\xDF\xBF", 2},
                                       {"\xE0\xA0\x80", 3},
                                       {"\xED\x9F\xBF", 3},
                                       {"\xEE\x80\x80", 3},
                                       {"\xEF\xBF\xBF", 3},
                                       {"\xF0\x90\x80\x80", 4},
                                       {"\xF4\x8F\xBF\xBF", 4}}) {
        EXPECT_EQ(sequence_length(text, 0), length) << ::testing::PrintToString(text);
    }
}

TEST(Utf8, WhatTheStandardForbidsIsNotValid) {
    for (const std::string text : {"\x80",                 // begins with a continuation
                                   "\xC0\x80",             // longer than needed
                                   "\xC1\xBF",             // longer than needed
                                   "\xE0\x9F\xBF",         // longer than needed
                                   "\xF0\x8F\xBF\xBF",     // longer than needed
                                   "\xED\xA0\x80",         // surrogate
                                   "\xED\xBF\xBF",         // surrogate
                                   "\xF4\x90\x80\x80",     // above U+10FFFF
                                   "\xF5\x80\x80\x80",     // above U+10FFFF
                                   "\xFF",                 // never used
                                   "\xC2",                 // cut off
                                   "\xE2\x82",             // cut off
                                   "\xF0\x9F\x98",         // cut off
                                   "\xC2\x41",             // wrong second byte
                                   "\xE2\x82\x41",         // wrong third byte
                                   "\xF0\x9F\x98\x41"}) {  // wrong fourth byte
        EXPECT_EQ(sequence_length(text, 0), 0U) << ::testing::PrintToString(text);
    }
}

/// The definition of the encoding, by the number that a sequence stands for.
std::size_t length_by_definition(const std::string& text) {
    constexpr std::array<std::uint32_t, 5> least_number{0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text[0]);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC0 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF8 ? 4
                                              : 0;
    std::uint32_t number = length < 2 ? first : first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if (next < 0x80 || next > 0xBF) {
            return 0;
        }
        number = number << 6U | (next & 0x3FU);
    }
    const bool is_surrogate = number >= 0xD800 && number <= 0xDFFF;
    const bool is_valid =
        length < 2 || (number >= least_number.at(length) && !is_surrogate && number <= 0x10FFFF);
    return is_valid ? length : 0;
}

TEST(Utf8, EveryPairOfFirstBytesIsWhatTheDefinitionSays) {
    std::string text(4, '\0');
    for (unsigned pair = 0; pair < 0x10000; ++pair) {
        text[0] = static_cast<char>(pair >> 8U);
        text[1] = static_cast<char>(pair & 0xFFU);
        for (const char* const rest :
             {"\x7F\x80", "\x80\x80", "\xBF\xBF", "\xC0\x80", "\x80\x7F", "\x80\xC0"}) {
            text.replace(2, 2, rest);
            if (sequence_length(text, 0) != length_by_definition(text)) {
                ADD_FAILURE() << ::testing::PrintToString(text);
            }
        }
    }
}

TEST(Utf8, SequenceThatTheEndOfTheTextCutsOffIsNotValid) {
    for (const std::string text : {"a\xC2", "ab\xE2\x82", "abc\xF0\x9F\x98", "abcd\xF0"}) {
        EXPECT_EQ(sequence_length(text, text.find_first_of("\xC2\xE2\xF0")), 0U);
    }
}

TEST(Utf8, CountsCharactersAndUnits) {
    const auto text = "a" + euro + emoji;

    EXPECT_EQ(count_characters(text), 3U);
    EXPECT_EQ(count_utf16_units(text), 4U);
    EXPECT_EQ(count_characters(""), 0U);
    EXPECT_EQ(count_utf16_units(""), 0U);
}

TEST(Utf8, PrefixesAndSuffixesNeverSplitACharacter) {
    const auto text = euro + emoji + "z";

    EXPECT_EQ(prefix_end(text, 0), 0U);
    EXPECT_EQ(prefix_end(text, 1), 3U);
    EXPECT_EQ(prefix_end(text, 2), 3U);
    EXPECT_EQ(prefix_end(text, 3), 7U);
    EXPECT_EQ(prefix_end(text, 4), 8U);
    EXPECT_EQ(prefix_end(text, 5), 8U);
    EXPECT_EQ(suffix_begin(text, 0), 8U);
    EXPECT_EQ(suffix_begin(text, 1), 7U);
    EXPECT_EQ(suffix_begin(text, 2), 7U);
    EXPECT_EQ(suffix_begin(text, 3), 3U);
    EXPECT_EQ(suffix_begin(text, 4), 0U);
    EXPECT_EQ(suffix_begin(text, 5), 0U);
}

}  // namespace
}  // namespace zephran::hawkbit::utf8
