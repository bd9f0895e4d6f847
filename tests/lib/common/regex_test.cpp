// SPDX-License-Identifier: Apache-2.0
#include "common/regex.h"

#include <boost/exception/errinfo_api_function.hpp>
#include <boost/exception/errinfo_errno.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zephran::common {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Regex, HasNoResultsBeforeTheFirstMatch) {
    const Regex regex{"a(b)", REG_EXTENDED};

    EXPECT_THAT(regex.get_results(), IsEmpty());
}

TEST(Regex, ReturnsWholeMatchAndGroups) {
    Regex regex{"([0-9]+):([0-9]+)", REG_EXTENDED};

    EXPECT_TRUE(regex.match("at 12:34 sharp", 0));

    EXPECT_THAT(regex.get_results(), ElementsAre("12:34", "12", "34"));
}

TEST(Regex, HasNoResultsAfterAFailedMatch) {
    Regex regex{"a(b)", REG_EXTENDED};
    ASSERT_TRUE(regex.match("ab", 0));

    EXPECT_FALSE(regex.match("xy", 0));

    EXPECT_THAT(regex.get_results(), IsEmpty());
}

TEST(Regex, GroupThatTookNoPartIsEmpty) {
    Regex regex{"^(a)?(b)?(c)$", REG_EXTENDED};

    EXPECT_TRUE(regex.match("ac", 0));

    EXPECT_THAT(regex.get_results(), ElementsAre("ac", "a", "", "c"));
}

TEST(Regex, KeepsItsOwnCopyOfTheSubject) {
    Regex regex{"(b+)", REG_EXTENDED};
    std::string subject = "abbba";
    ASSERT_TRUE(regex.match(subject, 0));

    subject.assign("zzzzz");

    EXPECT_THAT(regex.get_results(), ElementsAre("bbb", "bbb"));
}

TEST(Regex, HonoursFlags) {
    Regex ignoring_case{"abc", REG_ICASE};
    Regex anchored{"^abc", REG_EXTENDED};

    EXPECT_TRUE(ignoring_case.match("ABC", 0));
    EXPECT_TRUE(anchored.match("abc", 0));
    EXPECT_FALSE(anchored.match("abc", REG_NOTBOL));
}

TEST(Regex, WithoutSubmatchesAllResultsAreEmpty) {
    Regex regex{"a(b)", REG_EXTENDED | REG_NOSUB};

    EXPECT_TRUE(regex.match("ab", 0));

    EXPECT_THAT(regex.get_results(), ElementsAre("", ""));
}

TEST(Regex, NewExpressionWithFewerGroupsHasFewerResults) {
    Regex regex{"(a)(b)", REG_EXTENDED};
    ASSERT_TRUE(regex.match("ab", 0));

    regex.compile("c", REG_EXTENDED);

    EXPECT_TRUE(regex.match("abc", 0));
    EXPECT_THAT(regex.get_results(), ElementsAre("c"));
}

TEST(Regex, RefusedPatternIsReported) {
    try {
        const Regex regex{"(unclosed", REG_EXTENDED};
        FAIL() << "nothing was thrown";
    } catch (const CompilationFailedException& e) {
        EXPECT_STREQ(e.what(), "Could not compile regex");
        ASSERT_NE(boost::get_error_info<boost::errinfo_api_function>(e), nullptr);
        EXPECT_STREQ(*boost::get_error_info<boost::errinfo_api_function>(e), "regcomp");
        ASSERT_NE(boost::get_error_info<boost::errinfo_errno>(e), nullptr);
        EXPECT_EQ(*boost::get_error_info<boost::errinfo_errno>(e), REG_EPAREN);
    }
}

TEST(Regex, NewExpressionForgetsTheLastMatch) {
    Regex regex{"(a)", REG_EXTENDED};
    ASSERT_TRUE(regex.match("a", 0));

    regex.compile("(b)(c)", REG_EXTENDED);

    EXPECT_THAT(regex.get_results(), IsEmpty());
    EXPECT_TRUE(regex.match("bc", 0));
    EXPECT_THAT(regex.get_results(), ElementsAre("bc", "b", "c"));
}

TEST(Regex, RefusedReplacementLeavesTheOldExpression) {
    Regex regex{"(a)", REG_EXTENDED};
    ASSERT_TRUE(regex.match("a", 0));

    EXPECT_THROW(regex.compile("[", REG_EXTENDED), CompilationFailedException);

    EXPECT_THAT(regex.get_results(), ElementsAre("a", "a"));
    EXPECT_TRUE(regex.match("xa", 0));
}

}  // namespace
}  // namespace zephran::common
