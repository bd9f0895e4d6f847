// SPDX-License-Identifier: Apache-2.0
#include "schedule/whole_minutes.h"

#include <cstdint>
#include <ratio>

#include <gtest/gtest.h>

namespace zephran {
namespace {

// The narrowest that a standard library may use, and what a system clock may count in.
using NarrowMinutes = std::chrono::duration<std::int32_t, std::ratio<60>>;
using Microseconds = std::chrono::duration<std::int64_t, std::micro>;

TEST(WholeMinutes, AreRoundedTowardsZero) {
    EXPECT_EQ(whole_minutes(std::chrono::seconds{119}).count(), 1);
    EXPECT_EQ(whole_minutes(std::chrono::seconds{120}).count(), 2);
    EXPECT_EQ(whole_minutes(std::chrono::seconds{-119}).count(), -1);
}

TEST(WholeMinutes, StopAtTheLimitsOfTheirType) {
    EXPECT_EQ(whole_minutes<NarrowMinutes>(Microseconds::max()), NarrowMinutes::max());
    EXPECT_EQ(whole_minutes<NarrowMinutes>(Microseconds::min()), NarrowMinutes::min());
}

TEST(WholeMinutes, AreExactUpToTheLimitsOfTheirType) {
    EXPECT_EQ(whole_minutes<NarrowMinutes>(std::chrono::hours{35'791'394}).count(),
              35'791'394 * 60);
    EXPECT_EQ(whole_minutes<NarrowMinutes>(Microseconds{NarrowMinutes::max()}),
              NarrowMinutes::max());
}

}  // namespace
}  // namespace zephran
