// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "shared_clock.h"

namespace virtual_time {
namespace {

constexpr Nanoseconds hour = 3600 * second;

/// For a day of sleep in a hurry; a machine that is busy for so long is no test machine.
constexpr Nanoseconds at_once = 30 * second;

void sleep_until(clockid_t id, Nanoseconds duration) {
    timespec end{};
    clock_gettime(id, &end);
    end.tv_sec += duration / second;
    EXPECT_EQ(clock_nanosleep(id, TIMER_ABSTIME, &end, nullptr), 0);
}

class Sleep : public SharedClock, public ::testing::WithParamInterface<std::function<void()>> {};

TEST_P(Sleep, OfAnHourIsOverAtOnce) {
    GetParam()();

    EXPECT_EQ(passed(), hour);
    EXPECT_LT(really_passed(), at_once);
}

const timespec an_hour{3600, 0};
INSTANTIATE_TEST_SUITE_P(
    Functions, Sleep,
    ::testing::Values([] { EXPECT_EQ(::sleep(3600), 0U); },
                      [] { EXPECT_EQ(::usleep(3'600'000'000U), 0); },
                      [] { EXPECT_EQ(::nanosleep(&an_hour, nullptr), 0); },
                      [] { EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, 0, &an_hour, nullptr), 0); },
                      [] { sleep_until(CLOCK_MONOTONIC, hour); },
                      [] { sleep_until(CLOCK_REALTIME, hour); },
                      [] { std::this_thread::sleep_for(std::chrono::hours{1}); }));

TEST_F(SharedClock, ImpossibleSleepIsRefused) {
    const timespec impossible{0, 1'000'000'000};

    EXPECT_EQ(::nanosleep(&impossible, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(passed(), 0);
}

// The speed of the clock is 50: a second lasts at least a fiftieth.
constexpr Nanoseconds slowed = second / 50;

TEST_F(SharedClock, SleepBesideAWorkingThreadIsNotSkipped) {
    std::atomic<bool> stop{false};
    std::thread worker{[&] {
        while (!stop) {
        }
    }};

    ::sleep(1);
    const Nanoseconds lasted = really_passed();
    stop = true;
    worker.join();

    EXPECT_EQ(passed(), second);
    EXPECT_GE(lasted, slowed);
}

TEST_F(SharedClock, SleepBesideAChildIsNotSkipped) {
    const pid_t child = fork();
    if (child == 0) {
        ::pause();
    }

    ::sleep(1);
    const Nanoseconds lasted = really_passed();
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);

    EXPECT_GE(lasted, slowed);
}

TEST_F(SharedClock, SleepLastsUntilTheLimitIsLifted) {
    clock.limit = clock.monotonic + 10 * second;
    std::atomic<bool> slept{false};
    std::thread sleeper{[&] {
        ::sleep(60);
        slept = true;
    }};

    while (passed() < 10 * second) {
        std::this_thread::yield();
    }
    const bool was_early = slept;
    clock.limit = free;
    sleeper.join();

    EXPECT_FALSE(was_early);
    EXPECT_EQ(passed(), 60 * second);
}

TEST_F(SharedClock, SignalEndsASleep) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 1000}, {0, 1000}};
    clock.limit = clock.monotonic + 10 * second;
    setitimer(ITIMER_REAL, &often, nullptr);

    const unsigned left = ::sleep(60);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);

    EXPECT_EQ(left, 50U);
}

}  // namespace
}  // namespace virtual_time
