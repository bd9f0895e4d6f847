// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <atomic>
#include <functional>
#include <thread>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include "shared_clock.h"

namespace virtual_time {
namespace {

/// Takes a descriptor and seconds; returns how many descriptors have something to read.
using Waiter = std::function<int(int, int)>;

int wait_by_poll(int descriptor, int seconds) {
    pollfd entry{descriptor, POLLIN, 0};
    return poll(&entry, 1, seconds * 1000);
}

int wait_by_ppoll(int descriptor, int seconds) {
    pollfd entry{descriptor, POLLIN, 0};
    const timespec limit{seconds, 0};
    return ppoll(&entry, 1, &limit, nullptr);
}

int wait_by_select(int descriptor, int seconds) {
    fd_set wanted{};
    FD_SET(descriptor, &wanted);
    timeval limit{seconds, 0};
    return select(descriptor + 1, &wanted, nullptr, nullptr, &limit);
}

int wait_by_pselect(int descriptor, int seconds) {
    fd_set wanted{};
    FD_SET(descriptor, &wanted);
    const timespec limit{seconds, 0};
    return pselect(descriptor + 1, &wanted, nullptr, nullptr, &limit, nullptr);
}

int wait_by_epoll(int descriptor, int seconds) {
    const int set = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    epoll_ctl(set, EPOLL_CTL_ADD, descriptor, &event);
    const int result = epoll_wait(set, &event, 1, seconds * 1000);
    close(set);
    return result;
}

class Descriptors : public SharedClock, public ::testing::WithParamInterface<Waiter> {
public:
    Descriptors() { EXPECT_EQ(pipe(ends.data()), 0); }
    ~Descriptors() override {
        close(ends[0]);
        close(ends[1]);
    }

protected:
    void write_one() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }

    std::array<int, 2> ends{};
};

TEST_P(Descriptors, TimeOutMovesTheClockAfterAGrace) {
    EXPECT_EQ(GetParam()(ends[0], 2), 0);

    EXPECT_EQ(passed(), 2 * second);
    // The clock's speed is 50.
    EXPECT_GE(really_passed(), 2 * second / 50);
}

TEST_P(Descriptors, WhatIsThereTakesNoTime) {
    write_one();

    EXPECT_EQ(GetParam()(ends[0], 60), 1);

    EXPECT_EQ(passed(), 0);
}

TEST_P(Descriptors, WhatComesInTheGraceTakesNoTime) {
    std::thread writer{[this] { write_one(); }};

    EXPECT_EQ(GetParam()(ends[0], 600), 1);
    writer.join();

    EXPECT_EQ(passed(), 0);
}

TEST_P(Descriptors, QuestionWithoutAWaitTakesNoTime) {
    EXPECT_EQ(GetParam()(ends[0], 0), 0);

    EXPECT_EQ(passed(), 0);
}

TEST_P(Descriptors, ClockThatIsMovedEndsAWait) {
    std::atomic<bool> is_over{false};
    std::thread mover{[&] {
        while (!is_over) {
            clock.monotonic += second;
            std::this_thread::yield();
        }
    }};

    EXPECT_EQ(GetParam()(ends[0], 3600), 0);
    const Nanoseconds lasted = really_passed();
    is_over = true;
    mover.join();

    EXPECT_LT(lasted, 3600 * second / 50);
}

INSTANTIATE_TEST_SUITE_P(Functions, Descriptors,
                         ::testing::Values(wait_by_poll, wait_by_ppoll, wait_by_select,
                                           wait_by_pselect, wait_by_epoll));

TEST_F(SharedClock, WaitForANeighbourLastsAsLongAsItReallyDoes) {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    pollfd entry{ends[0], POLLIN, 0};

    EXPECT_EQ(poll(&entry, 1, 100), 0);

    EXPECT_EQ(passed(), 100 * millisecond);
    EXPECT_GE(really_passed(), 100 * millisecond);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(SharedClock, ThreadThatListensToANeighbourDoesNotSlowASleep) {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    std::thread listener{[&] {
        pollfd entry{ends[0], POLLIN, 0};
        poll(&entry, 1, -1);
    }};

    for (int number = 0; number < 3600; ++number) {
        ::sleep(1);
    }
    const Nanoseconds lasted = really_passed();
    EXPECT_EQ(write(ends[1], "x", 1), 1);
    listener.join();

    EXPECT_EQ(passed(), 3600 * second);
    EXPECT_LT(lasted, 3600 * second / 50);
    close(ends[0]);
    close(ends[1]);
}

}  // namespace
}  // namespace virtual_time
