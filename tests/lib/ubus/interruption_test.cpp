// SPDX-License-Identifier: Apache-2.0
#include "ubus/interruption.h"

#include <array>
#include <csignal>
#include <thread>

#include <gtest/gtest.h>

namespace zephran::test {
namespace {

using ubus::Interruption;

/// Whether the calling thread blocks the signal.
bool is_blocked(int number) {
    sigset_t blocked{};
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return sigismember(&blocked, number) == 1;
}

/// The signal that has a handler while an interruption exists, and has none otherwise.
int interrupting_signal() {
    std::array<bool, NSIG> had_handler{};
    const auto has_handler = [](int number) {
        struct sigaction action {};
        return sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_DFL &&
               action.sa_handler != SIG_IGN;
    };
    for (int number = 1; number < NSIG; ++number) {
        had_handler.at(static_cast<std::size_t>(number)) = has_handler(number);
    }
    const Interruption interruption;
    for (int number = 1; number < NSIG; ++number) {
        if (!had_handler.at(static_cast<std::size_t>(number)) && has_handler(number)) {
            return number;
        }
    }
    return 0;
}

TEST(Interruption, GivesOneSignalAHandlerWhileItExists) {
    const int number = interrupting_signal();
    ASSERT_NE(number, 0);

    struct sigaction action {};
    sigaction(number, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
}

TEST(Interruption, CallsAreNotBegunAnewAfterIt) {
    const int number = interrupting_signal();
    const Interruption interruption;

    struct sigaction action {};
    sigaction(number, nullptr, &action);
    EXPECT_EQ(action.sa_flags & SA_RESTART, 0);
}

TEST(Interruption, ReachesAThreadThatWasStartedWithTheSignalBlocked) {
    const int number = interrupting_signal();
    sigset_t signals{};
    sigset_t kept{};
    sigemptyset(&signals);
    sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, &kept);

    bool was_blocked = false;
    bool is_still_blocked = true;
    std::thread{[&] {
        was_blocked = is_blocked(number);
        Interruption::accept();
        is_still_blocked = is_blocked(number);
    }}.join();
    pthread_sigmask(SIG_SETMASK, &kept, nullptr);

    EXPECT_TRUE(was_blocked);
    EXPECT_FALSE(is_still_blocked);
}

TEST(Interruption, OtherSignalsStayBlocked) {
    sigset_t all{};
    sigset_t kept{};
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &kept);

    Interruption::accept();
    const bool is_other_blocked = is_blocked(SIGTERM) && is_blocked(SIGINT);
    pthread_sigmask(SIG_SETMASK, &kept, nullptr);

    EXPECT_TRUE(is_other_blocked);
}

}  // namespace
}  // namespace zephran::test
