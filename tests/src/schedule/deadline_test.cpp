// SPDX-License-Identifier: Apache-2.0
#include "schedule/deadline.h"

#include <gtest/gtest.h>

namespace zephran {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

constexpr milliseconds instant{1};
const Deadline::time_point noon = std::chrono::system_clock::from_time_t(1'700'000'000);

TEST(Deadline, IsReachedAtItsTimeAndPastAfterIt) {
    const Deadline deadline{noon, noon - hours{1}};

    EXPECT_FALSE(deadline.is_reached(noon - instant));
    EXPECT_FALSE(deadline.is_past(noon - instant));
    EXPECT_TRUE(deadline.is_reached(noon));
    EXPECT_FALSE(deadline.is_past(noon));
    EXPECT_TRUE(deadline.is_reached(noon + instant));
    EXPECT_TRUE(deadline.is_past(noon + instant));
}

TEST(Deadline, IsReachedBeforeTheTimeAtWhichItWasSet) {
    const Deadline deadline{noon, noon - hours{1}};

    EXPECT_FALSE(deadline.is_reached(noon - hours{1}));
    EXPECT_FALSE(deadline.is_past(noon - hours{1}));
    EXPECT_TRUE(deadline.is_reached(noon - hours{1} - instant));
    EXPECT_TRUE(deadline.is_past(noon - hours{1} - instant));
}

TEST(Deadline, TellsItsTime) {
    EXPECT_EQ((Deadline{noon, noon - hours{1}}.when()), noon);
}

TEST(Deadline, IsPastUntilItIsSet) {
    const Deadline never_set;
    const Deadline::time_point before_the_epoch{Deadline::time_point::duration{-1}};

    EXPECT_TRUE(never_set.is_reached(before_the_epoch));
    EXPECT_TRUE(never_set.is_reached(noon));
    EXPECT_TRUE(never_set.is_past(noon));
}

}  // namespace
}  // namespace zephran
