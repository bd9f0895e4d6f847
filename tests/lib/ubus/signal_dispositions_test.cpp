// SPDX-License-Identifier: Apache-2.0
#include "ubus/signal_dispositions.h"

#include <gtest/gtest.h>

namespace zephran::ubus {

namespace {

using Disposition = void (*)(int);

void own_handler(int /*number*/) {}
void librarys_handler(int /*number*/) {}

Disposition disposition_of(int number) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    return action.sa_handler;
}

class SignalDispositionsTest : public ::testing::TestWithParam<int> {
protected:
    SignalDispositionsTest() { sigaction(GetParam(), nullptr, &original); }
    ~SignalDispositionsTest() override { sigaction(GetParam(), &original, nullptr); }

    struct sigaction original {};
};

TEST_P(SignalDispositionsTest, DefaultComesBack) {
    (void)std::signal(GetParam(), SIG_DFL);
    {
        const SignalDispositions kept;
        (void)std::signal(GetParam(), librarys_handler);
    }

    EXPECT_EQ(disposition_of(GetParam()), SIG_DFL);
}

TEST_P(SignalDispositionsTest, HandlerComesBack) {
    (void)std::signal(GetParam(), own_handler);
    {
        const SignalDispositions kept;
        (void)std::signal(GetParam(), librarys_handler);
    }

    EXPECT_EQ(disposition_of(GetParam()), own_handler);
}

INSTANTIATE_TEST_SUITE_P(Signals, SignalDispositionsTest,
                         ::testing::Values(SIGINT, SIGTERM, SIGCHLD));

TEST(SignalDispositions, OtherSignalsThanTheNamedOnesAreNotRestored) {
    const Disposition original = std::signal(SIGINT, SIG_DFL);
    {
        const SignalDispositions kept{SIGCHLD};
        (void)std::signal(SIGINT, own_handler);
    }

    EXPECT_EQ(disposition_of(SIGINT), own_handler);
    (void)std::signal(SIGINT, original);
}

TEST(SignalDispositions, BrokenConnectionsDoNotEndTheProcess) {
    const Disposition original = std::signal(SIGPIPE, SIG_DFL);

    { const SignalDispositions kept; }

    EXPECT_EQ(disposition_of(SIGPIPE), SIG_IGN);
    (void)std::signal(SIGPIPE, original);
}

}  // namespace

}  // namespace zephran::ubus
