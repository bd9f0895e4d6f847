// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/utf8.h"

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
