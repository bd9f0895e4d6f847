// SPDX-License-Identifier: Apache-2.0
#include "installer/system_command.h"

#include <cerrno>
#include <csignal>
#include <string>

#include <gtest/gtest.h>

#include "common/record.h"
#include "installer/exceptions.h"
#include "support/temporary_directory.h"

namespace zephran::installer {
namespace {

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

// system(3) itself fails if it cannot wait for its child.
TEST(SystemCommand, FailureOfTheCallItselfCarriesTheReason) {
    struct sigaction ignored {};
    ignored.sa_handler = SIG_IGN;
    struct sigaction previous {};
    sigaction(SIGCHLD, &ignored, &previous);

    const std::string failure = failure_of("true");
    sigaction(SIGCHLD, &previous, nullptr);

    EXPECT_EQ(failure, "errno: " + std::to_string(ECHILD) + "\npopen_command: true");
}

}  // namespace
}  // namespace zephran::installer
