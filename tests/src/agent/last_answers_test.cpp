// SPDX-License-Identifier: Apache-2.0
#include "agent/last_answers.h"

#include <gtest/gtest.h>

namespace zephran {
namespace {

TEST(LastAnswers, FirstAnswerIsNews) {
    LastAnswers answers;

    EXPECT_TRUE(answers.is_news("is_dormant", 0));
    EXPECT_TRUE(answers.is_news("is_waiting", 0));
}

TEST(LastAnswers, OnlyAnotherAnswerIsNewsAfterThat) {
    LastAnswers answers;
    static_cast<void>(answers.is_news("is_dormant", 0));

    EXPECT_FALSE(answers.is_news("is_dormant", 0));
    EXPECT_TRUE(answers.is_news("is_dormant", 1));
    EXPECT_FALSE(answers.is_news("is_dormant", 1));
    EXPECT_TRUE(answers.is_news("is_dormant", 0));
}

TEST(LastAnswers, GuardsAreKeptApartByTheirNames) {
    LastAnswers answers;
    const std::string name = "is_dormant";
    static_cast<void>(answers.is_news("is_dormant", 1));

    EXPECT_TRUE(answers.is_news("is_waiting", 1));
    EXPECT_FALSE(answers.is_news(name.c_str(), 1));
}

}  // namespace
}  // namespace zephran
