// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <ctime>

#include <sys/time.h>

#include "shared_clock.h"

namespace virtual_time {
namespace {

using std::chrono::duration_cast;
using std::chrono::steady_clock;
using std::chrono::system_clock;

Nanoseconds wall() {
    return duration_cast<std::chrono::nanoseconds>(system_clock::now().time_since_epoch()).count();
}

TEST_F(SharedClock, StandsStillWhileAProgramWorks) {
    const auto steady = steady_clock::now();
    while (really_passed() < 2 * millisecond) {
    }

    EXPECT_EQ(steady_clock::now(), steady);
    EXPECT_EQ(wall(), begin_of_2026);
}

TEST_F(SharedClock, MovesBothClocks) {
    const auto steady = steady_clock::now();

    clock.monotonic += 90 * second;

    EXPECT_EQ(steady_clock::now() - steady, std::chrono::seconds{90});
    EXPECT_EQ(wall(), begin_of_2026 + 90 * second);
}

TEST_F(SharedClock, WallClockIsSetBackAlone) {
    const auto steady = steady_clock::now();

    set_wall(begin_of_2026 - 3600 * second);

    EXPECT_EQ(steady_clock::now(), steady);
    EXPECT_EQ(wall(), begin_of_2026 - 3600 * second);
}

class WallClock : public SharedClock, public ::testing::WithParamInterface<std::time_t> {};

TEST_P(WallClock, IsTheSameForEveryQuestion) {
    set_wall(GetParam() * second + 250 * millisecond);

    timeval with_microseconds{};
    gettimeofday(&with_microseconds, nullptr);
    timespec coarse{};
    clock_gettime(CLOCK_REALTIME_COARSE, &coarse);
    std::time_t stored = 0;

    EXPECT_EQ(std::time(&stored), GetParam());
    EXPECT_EQ(stored, GetParam());
    EXPECT_EQ(with_microseconds.tv_sec, GetParam());
    EXPECT_EQ(with_microseconds.tv_usec, 250'000);
    EXPECT_EQ(coarse.tv_sec, GetParam());
    EXPECT_EQ(coarse.tv_nsec, 250 * millisecond);
}

// Before 1970, its beginning, and both sides of the end of 32 bits.
INSTANTIATE_TEST_SUITE_P(Years, WallClock, ::testing::Values(-2, 0, 2'147'483'647, 2'147'483'648));

TEST_F(SharedClock, ProcessorTimeStaysReal) {
    timespec before{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &before);
    while (really_passed() < 2 * millisecond) {
    }
    timespec after{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &after);

    EXPECT_GT(after.tv_sec * second + after.tv_nsec, before.tv_sec * second + before.tv_nsec);
}

}  // namespace
}  // namespace virtual_time
