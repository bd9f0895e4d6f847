// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/detail_pieces.h"

#include <vector>

#include <gtest/gtest.h>

namespace zephran::hawkbit {
namespace {

/// Every text of up to four kinds of white space that differ in length.
std::vector<std::string> blank_texts() {
    constexpr std::size_t longest = 4;
    std::vector<std::string> texts{""};
    std::size_t first = 0;
    for (std::size_t length = 1; length <= longest; ++length) {
        const std::size_t end = texts.size();
        for (; first < end; ++first) {
            for (const char* const blank : {"\t", "\n", " ", "\xE2\x80\x83"}) {
                texts.push_back(texts[first] + blank);
            }
        }
    }
    return texts;
}

TEST(StripDetail, NothingIsLeftOfWhiteSpace) {
    for (const std::string& blank : blank_texts()) {
        EXPECT_EQ(strip_detail(blank), "") << ::testing::PrintToString(blank);
    }
}

TEST(StripDetail, WhiteSpaceGoesFromBothEndsInAnyOrder) {
    for (const std::string& blank : blank_texts()) {
        EXPECT_EQ(strip_detail(blank + "a b"), "a b") << ::testing::PrintToString(blank);
        EXPECT_EQ(strip_detail("a b" + blank), "a b") << ::testing::PrintToString(blank);
    }
}

}  // namespace
}  // namespace zephran::hawkbit
