// SPDX-License-Identifier: Apache-2.0
#include "ubus/watchdog.h"

#include <cerrno>

#include <gtest/gtest.h>
#include <poll.h>

namespace zephran::ubus {
namespace {

TEST(Watchdog, DoesNothingBeforeItsTime) {
    bool is_unblocked = false;
    {
        const Watchdog watchdog{std::chrono::hours{1}, [&] { is_unblocked = true; }};

        EXPECT_FALSE(watchdog.has_expired());
    }

    EXPECT_FALSE(is_unblocked);
}

TEST(Watchdog, UnblocksOnceAndInterruptsUntilItsEnd) {
    constexpr int forever = -1;
    unsigned unblocked = 0;
    {
        const Watchdog watchdog{std::chrono::milliseconds{10}, [&] { ++unblocked; }};

        for (unsigned calls = 0; calls < 3; ++calls) {
            EXPECT_EQ(::poll(nullptr, 0, forever), -1);
            EXPECT_EQ(errno, EINTR);
        }
        EXPECT_TRUE(watchdog.has_expired());
    }

    EXPECT_EQ(unblocked, 1U);
}

}  // namespace
}  // namespace zephran::ubus
