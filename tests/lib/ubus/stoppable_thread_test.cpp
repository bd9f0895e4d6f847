// SPDX-License-Identifier: Apache-2.0
#include "ubus/stoppable_thread.h"

#include <future>

#include <gtest/gtest.h>

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
