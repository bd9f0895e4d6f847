// SPDX-License-Identifier: Apache-2.0
#include "schedule/random_engine.h"

#include <gtest/gtest.h>

namespace zephran {
namespace {

// The C++ standard states this value for the generator of these parameters (rand.predef).
TEST(RandomEngine, DrawsTheSequenceOfTheMinimalStandardGenerator) {
    RandomEngine engine;
    engine.discard(9999);

    EXPECT_EQ(engine(), 1043618065U);
}

TEST(RandomEngine, CountsAMultipleOfTheModulusAsOne) {
    auto reference = make_random_engine(1);
    const auto first = reference();

    for (const unsigned long long seed : {0ULL, 2147483647ULL, 4294967294ULL}) {
        auto engine = make_random_engine(seed);

        EXPECT_EQ(engine(), first) << seed;
    }
}

TEST(RandomEngine, TakesSeedsOf64Bits) {
    constexpr unsigned long long seed = 1ULL << 40U;
    auto engine = make_random_engine(seed);
    auto reference = make_random_engine(seed % 2147483647ULL);

    EXPECT_EQ(engine(), reference());
}

}  // namespace
}  // namespace zephran
