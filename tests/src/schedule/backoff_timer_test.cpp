// SPDX-License-Identifier: Apache-2.0
#include "schedule/backoff_timer.h"

#include <algorithm>
#include <random>
#include <set>

#include <gtest/gtest.h>

namespace zephran::common {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds agent_max{86400000};
constexpr milliseconds agent_base{300000};

// The delay that the timer is expected to draw below this bound.
milliseconds draw(RandomEngine& engine, milliseconds bound) {
    std::uniform_int_distribution<std::int64_t> distribution{0, bound.count()};
    return milliseconds{distribution(engine)};
}

// The reference must use the same bounds: a draw may consume more than one number.
void fail_often(BackoffTimer& timer, RandomEngine& reference, unsigned int count) {
    for (unsigned int attempt = 1; attempt <= count; ++attempt) {
        const auto wrapped = static_cast<std::uint64_t>(agent_base.count()) << attempt;
        const milliseconds product{static_cast<std::int64_t>(wrapped)};
        const auto bound = product < milliseconds{0} ? agent_max : std::min(product, agent_max);
        ASSERT_EQ(timer.next(), draw(reference, bound)) << attempt;
    }
}

TEST(BackoffTimer, BoundDoublesUpToTheCap) {
    BackoffTimer timer{agent_max, agent_base, 42};
    RandomEngine reference{42};

    for (const long minutes : {10, 20, 40, 80, 160, 320, 640, 1280, 1440, 1440, 1440}) {
        EXPECT_EQ(timer.next(), draw(reference, std::chrono::minutes{minutes})) << minutes;
    }
}

TEST(BackoffTimer, FirstDelayLiesWithinTwiceTheBase) {
    milliseconds longest{0};
    for (unsigned long long seed = 1; seed <= 200; ++seed) {
        BackoffTimer timer{agent_max, agent_base, seed * 1000003};

        const auto delay = timer.next();

        EXPECT_GE(delay, milliseconds{0});
        EXPECT_LE(delay, 2 * agent_base);
        longest = std::max(longest, delay);
    }
    EXPECT_GT(longest, agent_base);
}

TEST(BackoffTimer, ResetForgetsTheFailures) {
    BackoffTimer timer{agent_max, agent_base, 7};
    RandomEngine reference{7};
    fail_often(timer, reference, 5);

    timer.reset();

    EXPECT_EQ(timer.next(), draw(reference, 2 * agent_base));
    EXPECT_EQ(timer.next(), draw(reference, 4 * agent_base));
}

TEST(BackoffTimer, SameSeedYieldsTheSameDelays) {
    BackoffTimer first{agent_max, agent_base, 123456789};
    BackoffTimer second{agent_max, agent_base, 123456789};

    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(first.next(), second.next());
    }
}

TEST(BackoffTimer, SeedIsTakenModuloTheEnginesModulus) {
    BackoffTimer one{agent_max, agent_base, 1};
    BackoffTimer multiple{agent_max, agent_base, 3ULL * 2147483647ULL};
    BackoffTimer zero{agent_max, agent_base, 0};
    BackoffTimer five{agent_max, agent_base, 5};
    BackoffTimer five_more{agent_max, agent_base, 5 + 2147483647ULL};

    for (int i = 0; i < 10; ++i) {
        const auto expected = one.next();
        EXPECT_EQ(multiple.next(), expected);
        EXPECT_EQ(zero.next(), expected);
        EXPECT_EQ(five.next(), five_more.next());
    }
}

TEST(BackoffTimer, NegativeWrappedProductMeansTheCap) {
    BackoffTimer timer{agent_max, agent_base, 11};
    RandomEngine reference{11};
    fail_often(timer, reference, 44);

    EXPECT_EQ(timer.next(), draw(reference, agent_max));
}

TEST(BackoffTimer, ProductThatWrapsToZeroMeansNoDelay) {
    BackoffTimer timer{agent_max, agent_base, 11};
    RandomEngine reference{11};
    fail_often(timer, reference, 58);

    for (int attempt = 59; attempt <= 62; ++attempt) {
        EXPECT_EQ(timer.next(), draw(reference, milliseconds{0})) << attempt;
    }
}

TEST(BackoffTimer, FactorThatDoesNotFitMeansTheCap) {
    BackoffTimer timer{agent_max, agent_base, 11};
    RandomEngine reference{11};
    fail_often(timer, reference, 62);

    // From 1024 on, the factor is not even a finite floating-point number.
    for (int attempt = 63; attempt <= 1100; ++attempt) {
        EXPECT_EQ(timer.next(), draw(reference, agent_max)) << attempt;
    }
}

TEST(BackoffTimer, CapMayBeBelowTheFirstBound) {
    BackoffTimer timer{milliseconds{10}, agent_base, 3};

    for (int i = 0; i < 100; ++i) {
        EXPECT_LE(timer.next(), milliseconds{10});
    }
}

TEST(BackoffTimer, CapThatIsNotPositiveMeansNoDelay) {
    for (const milliseconds cap : {milliseconds{0}, milliseconds{-1}, milliseconds::min()}) {
        BackoffTimer timer{cap, agent_base, 3};

        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(timer.next(), milliseconds{0}) << cap.count();
        }
    }
}

TEST(BackoffTimer, IsSeededFromTheClockByDefault) {
    std::set<milliseconds> delays;
    for (int timers = 0; timers < 50; ++timers) {
        BackoffTimer timer{agent_max, agent_base};

        const auto delay = timer.next();

        EXPECT_GE(delay, milliseconds{0});
        EXPECT_LE(delay, 2 * agent_base);
        delays.insert(delay);
    }
    EXPECT_GT(delays.size(), 25U);
}

}  // namespace
}  // namespace zephran::common
