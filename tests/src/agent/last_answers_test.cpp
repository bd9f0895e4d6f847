// SPDX-License-Identifier: Apache-2.0
#include "agent/last_answers.h"

#include <gtest/gtest.h>

namespace zephran {
namespace {

TEST(LastAnswers, FirstAnswerIsNews) {
    LastAnswers answers;

    EXPECT_TRUE(answers.is_news("is_dormant", false, false));
    EXPECT_TRUE(answers.is_news("is_waiting", false, false));
}

TEST(LastAnswers, OnlyAnotherAnswerIsNewsAfterThat) {
    LastAnswers answers;
    static_cast<void>(answers.is_news("is_dormant", false, false));

    EXPECT_FALSE(answers.is_news("is_dormant", false, false));
    EXPECT_TRUE(answers.is_news("is_dormant", true, false));
    EXPECT_FALSE(answers.is_news("is_dormant", true, false));
    EXPECT_TRUE(answers.is_news("is_dormant", false, false));
}

TEST(LastAnswers, SecondAnswerIsOneOfItsOwn) {
    LastAnswers answers;
    static_cast<void>(answers.is_news("is_dormant", true, false));

    EXPECT_FALSE(answers.is_news("is_dormant", true, false));
    EXPECT_TRUE(answers.is_news("is_dormant", false, true));
    EXPECT_TRUE(answers.is_news("is_dormant", true, true));
}

TEST(LastAnswers, GuardsAreKeptApartByTheirNames) {
    LastAnswers answers;
    const std::string name = "is_dormant";
    static_cast<void>(answers.is_news("is_dormant", true, false));

    EXPECT_TRUE(answers.is_news("is_waiting", true, false));
    EXPECT_FALSE(answers.is_news(name.c_str(), true, false));
}

}  // namespace
}  // namespace zephran
