// SPDX-License-Identifier: Apache-2.0
#include "installer/system_command.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "common/popen.h"
#include "common/record.h"
#include "installer/exceptions.h"
#include "support/emulator.h"
#include "support/interrupting_timer.h"
#include "support/refused_system_call.h"
#include "support/temporary_directory.h"

namespace zephran::installer {
namespace {

using namespace std::chrono_literals;

/// The records of the failure of a required command.
std::string failure_of(const std::string& command) {
    try {
        run_required_command(command);
    } catch (const ProgramExecutionFailedException& error) {
        return describe_records(error);
    }
    return "no failure";
}

TEST(SystemCommand, CommandIsRunByTheShell) {
    const TemporaryDirectory directory;

    EXPECT_TRUE(run_command("echo \"a b\" >'" + directory.path("file") + "'"));

    EXPECT_EQ(directory.read("file"), "a b\n");
}

TEST(SystemCommand, OnlyStatusZeroIsSuccess) {
    EXPECT_TRUE(run_command("true"));
    EXPECT_FALSE(run_command("exit 1"));
    EXPECT_FALSE(run_command("exit 255"));
    EXPECT_FALSE(run_command("kill -9 $$"));
    EXPECT_FALSE(run_command("/nowhere/at-all 2>/dev/null"));
}

TEST(SystemCommand, LimitThatIsNotMetChangesNothing) {
    constexpr int nothing = -1;

    EXPECT_TRUE(run_command("true", nothing, 60s));
    EXPECT_FALSE(run_command("exit 1", nothing, 60s));
    try {
        run_required_command("exit 3", "tool", nothing, 60s);
        FAIL() << "no failure";
    } catch (const ProgramExecutionFailedException& error) {
        EXPECT_EQ(describe_records(error), "popen_command: tool\nprogram_exit_code: 3");
    }
}

TEST(SystemCommand, CommandThatMeetsItsLimitFailsLikeOneThatIsKilled) {
    constexpr int nothing = -1;
    const auto start = std::chrono::steady_clock::now();

    try {
        run_required_command("sleep 60 & sleep 60", "tool", nothing, 200ms);
        FAIL() << "it was waited for";
    } catch (const common::AbnormalTerminationException& error) {
        EXPECT_STREQ(error.what(), "Program terminated abnormally");
        EXPECT_EQ(describe_records(error), "popen_command: tool");
    }

    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

TEST(SystemCommand, CommandThatMeetsItsLimitIsAskedToEndBeforeItIsKilled) {
    constexpr int nothing = -1;
    const TemporaryDirectory directory;

    // Long enough for a shell to start on a busy machine.
    EXPECT_FALSE(run_command("trap 'echo asked >" + directory.path("file") +
                                 "; exit' TERM; while :; do sleep 0.02; done",
                             nothing, 2s));

    EXPECT_EQ(directory.read("file"), "asked\n");
}

TEST(SystemCommand, CommandThatIgnoresTheRequestToEndIsKilled) {
    constexpr int nothing = -1;

    EXPECT_FALSE(run_command("trap '' TERM; while :; do sleep 0.1; done", nothing, 200ms));
}

TEST(SystemCommand, ServiceThatWasLeftRunningIsNotWaitedFor) {
    constexpr int nothing = -1;
    const auto start = std::chrono::steady_clock::now();

    EXPECT_TRUE(run_command("sleep 60 >/dev/null 2>&1 & exit 0", nothing, 50s));

    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

TEST(SystemCommand, RequiredCommandThatSucceedsIsNoFailure) {
    EXPECT_EQ(failure_of("true"), "no failure");
}

TEST(SystemCommand, FailureCarriesTheExitCode) {
    EXPECT_EQ(failure_of("exit 3"), "popen_command: exit 3\nprogram_exit_code: 3");
}

TEST(SystemCommand, MissingProgramHasTheExitCodeOfTheShell) {
    EXPECT_EQ(failure_of("/nowhere/at-all 2>/dev/null"),
              "popen_command: /nowhere/at-all 2>/dev/null\nprogram_exit_code: 127");
}

TEST(SystemCommand, FailureCarriesTheSignal) {
    EXPECT_EQ(failure_of("kill -15 $$"), "popen_command: kill -15 $$\nprogram_signal: 15");
}

TEST(SystemCommand, DescriptionReplacesACommandThatContainsASecret) {
    try {
        run_required_command("exit 3 # password", "the tool");
        FAIL() << "no exception";
    } catch (const ProgramExecutionFailedException& error) {
        EXPECT_EQ(describe_records(error), "popen_command: the tool\nprogram_exit_code: 3");
    }
}

/// The ignored signals of a command's shell, as a bit mask.
unsigned long long ignored_signals_of_command() {
    const TemporaryDirectory directory;
    // The result says nothing while this process ignores SIGCHLD.
    static_cast<void>(run_command("sed -n 's/^SigIgn:[^0-9a-f]*//p' /proc/$$/status >'" +
                                  directory.path("file") + "'"));
    const std::string text = directory.read("file");
    return text.empty() ? ~0ULL : std::stoull(text, nullptr, 16);
}

TEST(SystemCommand, CommandDoesNotInheritThatSigpipeAndSigchldAreIgnored) {
    auto* const previous_pipe = std::signal(SIGPIPE, SIG_IGN);
    auto* const previous_child = std::signal(SIGCHLD, SIG_IGN);
    const auto ignored = ignored_signals_of_command();
    ASSERT_NE(std::signal(SIGPIPE, previous_pipe), SIG_ERR);
    ASSERT_NE(std::signal(SIGCHLD, previous_child), SIG_ERR);

    EXPECT_EQ(ignored & ((1ULL << (SIGPIPE - 1)) | (1ULL << (SIGCHLD - 1))), 0U);
}

TEST(SystemCommand, CommandInheritsOnlyTheStandardStreams) {
    const int inheritable = fcntl(STDERR_FILENO, F_DUPFD, 200);

    const std::string mine = std::to_string(inheritable);
    EXPECT_TRUE(run_command("test -e /proc/$$/fd/2 && ! test -e /proc/$$/fd/" + mine));

    close(inheritable);
}

// The number may be in use, so this test has a process of its own.
TEST(SystemCommandDeathTest, NothingIsInheritedUnlessItIsGiven) {
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, 3);
            const std::string command = "! test -e /proc/$$/fd/3";
            run_required_command(command);
            run_required_command(command, "described");
            std::_Exit(run_command(command) ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(SystemCommand, CommandStaysInTheProcessGroup) {
    EXPECT_TRUE(
        run_command("test $(cut -d ' ' -f 5 /proc/$$/stat) -eq " + std::to_string(getpgrp())));
}

TEST(SystemCommand, InterruptFromTheTerminalIsForTheCommandAlone) {
    for (const int number : {SIGINT, SIGQUIT}) {
        const std::string name = std::to_string(number);
        const std::string me = std::to_string(getpid());

        EXPECT_TRUE(run_command("kill -" + name + " " + me));
        EXPECT_EQ(failure_of("kill -" + name + " $$ # it"),
                  "popen_command: kill -" + name + " $$ # it\nprogram_signal: " + name);

        struct sigaction current {};
        sigaction(number, nullptr, &current);
        EXPECT_EQ(current.sa_handler, SIG_DFL);
    }
}

TEST(SystemCommand, WaitLastsThroughSignals) {
    const InterruptingTimer timer{5ms};

    EXPECT_EQ(failure_of("sleep 0.2; exit 7"),
              "popen_command: sleep 0.2; exit 7\nprogram_exit_code: 7");
    EXPECT_GT(InterruptingTimer::interruptions(), 0);
}

TEST(SystemCommandDeathTest, ShellThatCannotBeExecutedIsStatus127) {
    if (is_emulated()) {
        GTEST_SKIP() << "The filter would judge the system calls of the emulator";
    }
    EXPECT_EXIT(
        {
            const bool refused = refuse_system_call(SYS_execve, ENOENT);
            std::_Exit(
                refused && failure_of("true") == "popen_command: true\nprogram_exit_code: 127" ? 7
                                                                                               : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(SystemCommandDeathTest, ShellThatCannotBeStartedIsAFailureWithTheReason) {
    if (is_emulated()) {
        GTEST_SKIP() << "The filter would judge the system calls of the emulator";
    }
    EXPECT_EXIT(
        {
            // Not every build uses the first one.
            const bool refused =
                refuse_system_call(SYS_vfork, EAGAIN) && refuse_system_call(SYS_clone, EAGAIN);
            const std::string expected =
                "errno: " + std::to_string(EAGAIN) + "\npopen_command: true";
            std::_Exit(refused && failure_of("true") == expected ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

// The run itself fails if it cannot wait for its child.
TEST(SystemCommand, FailureOfTheCallItselfCarriesTheReason) {
    struct sigaction ignored {};
    ignored.sa_handler = SIG_IGN;
    struct sigaction before {};
    sigaction(SIGCHLD, &ignored, &before);

    const std::string failure = failure_of("true");
    sigaction(SIGCHLD, &before, nullptr);

    EXPECT_EQ(failure, "errno: " + std::to_string(ECHILD) + "\npopen_command: true");
}

}  // namespace
}  // namespace zephran::installer
