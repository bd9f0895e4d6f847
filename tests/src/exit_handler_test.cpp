// SPDX-License-Identifier: Apache-2.0
#include "exit_handler.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "support/captured_log.h"

namespace zephran {
namespace {

using testing::ExitedWithCode;
using testing::KilledBySignal;

// There is one handler per process, so each test runs in its own process. It reports on standard
// error, the only stream that the parent sees.
class ExitHandlerDeathTest : public testing::Test {
protected:
    ExitHandlerDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

unsigned logged_signals(const std::string& text) {
    const std::string fields = " signal: action=signal message=received exit signal\n";
    unsigned count = 0;
    for (auto found = text.find(fields); found != std::string::npos;
         found = text.find(fields, found + 1)) {
        ++count;
    }
    return count;
}

[[noreturn]] void report_and_exit(const ExitHandler& handler, const std::string& text) {
    std::cerr << "requested=" << handler.is_exit_requested() << " lines=" << logged_signals(text)
              << " warnings=" << (text.find(" WARNING exit_handler.cpp:") != std::string::npos)
              << '\n';
    std::exit(7);
}

[[noreturn]] void raise_then_report(int first, int second = 0) {
    ExitHandler& handler = ExitHandler::instance();
    std::string text;
    {
        const CapturedLog log;
        (void)std::raise(first);
        if (second != 0) {
            (void)std::raise(second);
        }
        if (!log.text().empty()) {
            std::_Exit(3);
        }
        handler.log_signals();
        text = log.text();
    }
    report_and_exit(handler, text);
}

TEST_F(ExitHandlerDeathTest, NoExitIsRequestedBeforeASignal) {
    EXPECT_EXIT(
        {
            ExitHandler& handler = ExitHandler::instance();
            const CapturedLog log;
            handler.log_signals();
            const std::string text = log.text();
            std::exit(handler.is_exit_requested() || !text.empty() ? 1 : 0);
        },
        ExitedWithCode(0), "");
}

TEST_F(ExitHandlerDeathTest, InterruptRequestsTheExitAndIsLoggedOnce) {
    EXPECT_EXIT(raise_then_report(SIGINT), ExitedWithCode(7), "requested=1 lines=1 warnings=1");
}

TEST_F(ExitHandlerDeathTest, TerminationRequestsTheExitAndIsLoggedOnce) {
    EXPECT_EXIT(raise_then_report(SIGTERM), ExitedWithCode(7), "requested=1 lines=1 warnings=1");
}

TEST_F(ExitHandlerDeathTest, EverySignalIsLoggedOnItsOwnLine) {
    EXPECT_EXIT(raise_then_report(SIGINT, SIGTERM), ExitedWithCode(7), "requested=1 lines=2 ");
}

TEST_F(ExitHandlerDeathTest, HandlerStaysInstalledAfterASignal) {
    EXPECT_EXIT(raise_then_report(SIGTERM, SIGTERM), ExitedWithCode(7), "requested=1 lines=2 ");
}

TEST_F(ExitHandlerDeathTest, LoggedSignalsAreNotLoggedAgain) {
    EXPECT_EXIT(
        {
            ExitHandler& handler = ExitHandler::instance();
            (void)std::raise(SIGTERM);
            handler.log_signals();
            std::string text;
            {
                const CapturedLog log;
                handler.log_signals();
                text = log.text();
            }
            report_and_exit(handler, text);
        },
        ExitedWithCode(7), "requested=1 lines=0 warnings=0");
}

TEST_F(ExitHandlerDeathTest, SignalBeforeTheFirstUseEndsTheProcess) {
    EXPECT_EXIT(
        {
            (void)std::raise(SIGTERM);
            std::exit(7);
        },
        KilledBySignal(SIGTERM), "");
}

/// Ends the process with 7 if the signals have these dispositions, else with 1.
[[noreturn]] void exit_by_dispositions(std::initializer_list<int> signals, void (*expected)(int)) {
    for (const int number : signals) {
        struct sigaction current {};
        if (sigaction(number, nullptr, &current) != 0 || current.sa_handler != expected) {
            std::_Exit(1);
        }
    }
    std::_Exit(7);
}

TEST_F(ExitHandlerDeathTest, ChildrenCanBeWaitedForEvenIfTheParentIgnoredTheirEnd) {
    EXPECT_EXIT(
        {
            (void)std::signal(SIGCHLD, SIG_IGN);
            ExitHandler::instance();
            exit_by_dispositions({SIGCHLD}, SIG_DFL);
        },
        ExitedWithCode(7), "");
}

TEST_F(ExitHandlerDeathTest, ClosedConnectionDoesNotEndTheProcess) {
    EXPECT_EXIT(
        {
            ExitHandler::instance();
            exit_by_dispositions({SIGPIPE}, SIG_IGN);
        },
        ExitedWithCode(7), "");
}

TEST_F(ExitHandlerDeathTest, SignalsHaveTheirDefaultEffectOnceTheHandlerIsGone) {
    EXPECT_EXIT(
        {
            // What is registered before the handler is made runs after it is destroyed.
            (void)std::atexit([] { exit_by_dispositions({SIGINT, SIGTERM}, SIG_DFL); });
            ExitHandler::instance();
            std::exit(1);
        },
        ExitedWithCode(7), "");
}

TEST_F(ExitHandlerDeathTest, OtherSignalsKeepTheirDefaultEffect) {
    EXPECT_EXIT(
        {
            ExitHandler::instance();
            (void)std::raise(SIGHUP);
            std::exit(7);
        },
        KilledBySignal(SIGHUP), "");
}

}  // namespace
}  // namespace zephran
