// SPDX-License-Identifier: Apache-2.0
#include "deployment/retry_delay.h"

#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace zephran {
namespace {

constexpr std::uint32_t days_in_seconds = 86'400;

std::uint32_t greatest(std::uint32_t bound) {
    return bound;
}

std::uint32_t least(std::uint32_t /*bound*/) {
    return 0;
}

DownloadOptions options(std::uint32_t delay, std::uint32_t cap) {
    DownloadOptions given;
    given.retry_delay = delay;
    given.retry_cap = cap;
    return given;
}

TEST(RetryDelay, DoublesUpToTheCap) {
    const DownloadOptions given = options(5, 300);
    std::vector<std::uint32_t> longest;
    for (std::uint32_t failures = 1; failures <= 8; ++failures) {
        longest.push_back(retry_delay(given, failures, std::nullopt, greatest));
    }

    EXPECT_EQ(longest, (std::vector<std::uint32_t>{5, 10, 20, 40, 80, 160, 300, 300}));
}

TEST(RetryDelay, MayBeNothing) {
    EXPECT_EQ(retry_delay(options(5, 300), 8, std::nullopt, least), 0U);
}

TEST(RetryDelay, CapHoldsForTheFirstOneToo) {
    EXPECT_EQ(retry_delay(options(50, 3), 1, std::nullopt, greatest), 3U);
}

TEST(RetryDelay, DoesNotOverflow) {
    const DownloadOptions given = options(days_in_seconds, days_in_seconds);

    EXPECT_EQ(retry_delay(given, 1000, std::nullopt, greatest), days_in_seconds);
    EXPECT_EQ(retry_delay(options(0, 300), 1000, std::nullopt, greatest), 0U);
}

TEST(RetryDelay, IsAsLongAsTheServerWantsUpToTheCap) {
    const DownloadOptions given = options(5, 300);

    EXPECT_EQ(retry_delay(given, 1, std::chrono::seconds{40}, greatest), 40U);
    EXPECT_EQ(retry_delay(given, 1, std::chrono::seconds{2}, greatest), 5U);
    EXPECT_EQ(retry_delay(given, 1, std::chrono::hours{24}, least), 300U);
}

TEST(RetryDelay, DrawnNumbersKeepTheBound) {
    for (unsigned i = 0; i < 100; ++i) {
        EXPECT_LE(draw_number(3), 3U);
    }
    EXPECT_EQ(draw_number(0), 0U);
}

TEST(RetryDelay, DrawnNumbersDiffer) {
    std::set<std::uint32_t> drawn;
    for (unsigned i = 0; i < 10; ++i) {
        drawn.insert(draw_number(1'000'000));
    }

    EXPECT_GT(drawn.size(), 1U);
}

}  // namespace
}  // namespace zephran
