// SPDX-License-Identifier: Apache-2.0
#include "http/content_range.h"

#include <gtest/gtest.h>

namespace zephran::http {
namespace {

TEST(ContentRange, OfAPartHasItsBounds) {
    const auto range = parse_content_range("bytes 40000-99999/100000");

    ASSERT_TRUE(range);
    EXPECT_EQ(range->first, 40000U);
    EXPECT_EQ(range->last, 99999U);
    EXPECT_EQ(range->size, 100000U);
}

TEST(ContentRange, MayLeaveTheSizeOpen) {
    const auto range = parse_content_range("bytes 1-2/*");

    ASSERT_TRUE(range);
    EXPECT_EQ(range->last, 2U);
    EXPECT_FALSE(range->size);
}

TEST(ContentRange, MayBeASingleByte) {
    const auto range = parse_content_range("bytes 9-9/10");

    ASSERT_TRUE(range);
    EXPECT_EQ(range->first, 9U);
    EXPECT_EQ(range->last, 9U);
}

TEST(ContentRange, NumbersHaveNineteenDigitsAtMost) {
    const auto range = parse_content_range("bytes 0-1/9999999999999999999");

    ASSERT_TRUE(range);
    EXPECT_EQ(range->size, 9999999999999999999U);
    EXPECT_FALSE(parse_content_range("bytes 0-1/10000000000000000000"));
}

TEST(ContentRange, OfARangeThatIsNotThereHasTheSizeOnly) {
    const auto range = parse_content_range("bytes */100");

    ASSERT_TRUE(range);
    EXPECT_FALSE(range->first);
    EXPECT_EQ(range->size, 100U);
}

TEST(ContentRange, AnythingElseIsNone) {
    for (const char* const text :
         {"", "bytes", "bytes ", "bytes 1-2", "bytes 1-2/", "bytes -2/3", "bytes 1-/3",
          "bytes 2-1/3", "bytes 1-3/3", "bytes */*", "bytes 1/3", "bytes 1-2/x", "items 1-2/3",
          "bytes +1-2/3", "bytes 1-2/99999999999999999999", "bytes 0x1-2/3"}) {
        EXPECT_FALSE(parse_content_range(text)) << text;
    }
}

TEST(ContentRange, OfTheRestReachesTheEnd) {
    EXPECT_TRUE(is_rest_of_file("bytes 4-9/10", 4, 10));
    EXPECT_TRUE(is_rest_of_file("bytes 4-9/*", 4, 10));
    EXPECT_FALSE(is_rest_of_file("bytes 3-9/10", 4, 10));
    EXPECT_FALSE(is_rest_of_file("bytes 4-8/10", 4, 10));
    EXPECT_FALSE(is_rest_of_file("bytes 4-9/11", 4, 10));
    EXPECT_FALSE(is_rest_of_file("bytes */10", 4, 10));
    EXPECT_FALSE(is_rest_of_file("", 4, 10));
}

}  // namespace
}  // namespace zephran::http
