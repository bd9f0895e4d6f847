// SPDX-License-Identifier: Apache-2.0
#include "ubus/stoppable_thread.h"

#include <cerrno>
#include <csignal>
#include <future>

#include <gtest/gtest.h>
#include <unistd.h>

namespace zephran::test {
namespace {

using ubus::StoppableThread;

constexpr std::chrono::milliseconds at_once{0};
constexpr std::chrono::minutes long_enough{10};

void unexpected() {
    ADD_FAILURE() << "the thread needed no help";
}

TEST(StoppableThread, IsNotWantedBeforeTheStart) {
    StoppableThread thread;

    EXPECT_FALSE(thread.is_wanted());
    thread.stop(at_once, unexpected);
}

TEST(StoppableThread, IsWantedUntilItIsStopped) {
    StoppableThread thread;
    std::promise<void> started;

    thread.start([&] {
        started.set_value();
        while (thread.is_wanted()) {
            std::this_thread::yield();
        }
    });
    started.get_future().wait();
    EXPECT_TRUE(thread.is_wanted());
    thread.stop(long_enough, unexpected);

    EXPECT_FALSE(thread.is_wanted());
}

TEST(StoppableThread, IsUnblockedAfterTheGracePeriod) {
    StoppableThread thread;
    std::promise<void> input;
    unsigned unblocked = 0;

    thread.start([&] { input.get_future().wait(); });
    thread.stop(at_once, [&] {
        ++unblocked;
        input.set_value();
    });

    EXPECT_EQ(unblocked, 1U);
}

TEST(StoppableThread, IsInterruptedUntilItNoticesThatItIsNotWanted) {
    StoppableThread thread;
    int ends[2];  // NOLINT
    ASSERT_EQ(::pipe(static_cast<int*>(ends)), 0);

    thread.start([&] {
        char byte = 0;
        while (thread.is_wanted() || ::read(ends[0], &byte, 1) >= 0) {
        }
        EXPECT_EQ(errno, EINTR);
    });
    thread.stop(at_once, [] {});

    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(StoppableThread, InterruptionsLeaveTheDispositionOfTheirSignalAsItWas) {
    struct sigaction before {};
    ASSERT_EQ(::sigaction(SIGURG, nullptr, &before), 0);
    StoppableThread thread;

    thread.start([] { ::pause(); });
    thread.stop(at_once, [] {});

    struct sigaction after {};
    ASSERT_EQ(::sigaction(SIGURG, nullptr, &after), 0);
    EXPECT_EQ(after.sa_handler, before.sa_handler);
}

TEST(StoppableThread, CanBeStartedAgain) {
    StoppableThread thread;
    unsigned runs = 0;

    for (unsigned times = 0; times != 2; ++times) {
        thread.start([&] { ++runs; });
        thread.stop(long_enough, unexpected);
        thread.stop(at_once, unexpected);
    }

    EXPECT_EQ(runs, 2U);
}

}  // namespace
}  // namespace zephran::test
