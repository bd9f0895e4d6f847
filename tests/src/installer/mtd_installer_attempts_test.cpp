// SPDX-License-Identifier: Apache-2.0
#include <chrono>

#include "chip_lock.h"
#include "mtd_installer_test.h"
#include "support/noted_pauses.h"
#include "support/waiting_program.h"

namespace zephran::installer {
namespace {

TEST_F(MTDInstallerTest, FailedFirstEraseIsAnError) {
    erase_with("exit 1");

    start();

    expect_failure("External program returned an error");
    EXPECT_EQ(installer->error().error_details,
              "popen_command: " + erase_command() + "\nprogram_exit_code: 1");
    EXPECT_EQ(tools.calls(), Lines{erase_command()});
}

TEST_F(MTDInstallerTest, FailedWriteIsRepeatedAfterAnErase) {
    write_with("[ $call -gt 2 ] || exit 1");

    start();
    installer->tick();

    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(executed(), (Lines{erase_command(), write_command(), erase_command(), write_command(),
                                 erase_command(), write_command()}));
    EXPECT_EQ(tools.calls(), executed());
}

TEST_F(MTDInstallerTest, FailedEraseInBetweenOnlySkipsTheWrite) {
    erase_with("[ $call -ne 2 ] && [ $call -ne 3 ] || exit 1");
    write_with("[ $call -gt 1 ] || exit 1");

    start(4);
    installer->tick();

    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(executed(), (Lines{erase_command(), write_command(), erase_command(), erase_command(),
                                 erase_command(), write_command()}));
    EXPECT_EQ(tools.calls(), executed());
}

TEST_F(MTDInstallerTest, SkippedWriteIsAnAttempt) {
    erase_with("[ $call -eq 1 ] || exit 1");
    write_with("exit 1");

    start(3);

    expect_failure("Failed to install artifacts");
    EXPECT_EQ(tools.calls(), (Lines{erase_command(), write_command(), erase_command(),
                                    erase_command(), erase_command()}));
}

TEST_F(MTDInstallerTest, GivesUpAfterTheLastAttemptWithThePartitionErased) {
    constexpr std::uint32_t attempts = 20;
    write_with("exit 1");

    start(attempts);

    expect_failure("Failed to install artifacts");
    EXPECT_EQ(installer->error().error_details, "filename: " + device);
    Lines expected{erase_command()};
    for (std::uint32_t attempt = 0; attempt < attempts; ++attempt) {
        expected.push_back(write_command());
        expected.push_back(erase_command());
    }
    EXPECT_EQ(tools.calls(), expected);
    EXPECT_EQ(gateway.read("dev/mtd1"), erased);
}

TEST_F(MTDInstallerTest, PausesBetweenTheAttempts) {
    constexpr std::uint32_t attempts = 20;
    write_with("exit 1");
    const NotedPauses pauses;

    start(attempts);

    EXPECT_EQ(pauses.all(),
              std::vector<std::chrono::nanoseconds>(attempts, std::chrono::milliseconds{10}));
}

TEST_F(MTDInstallerTest, NoAttemptsLeaveThePartitionErased) {
    start(0);

    expect_failure("Failed to install artifacts");
    EXPECT_EQ(tools.calls(), Lines{erase_command()});
}

TEST_F(MTDInstallerTest, NothingIsStartedBesideAToolThatOutlivesItsShell) {
    const WaitingProgram rest;
    write_with("{ " + rest.command() + "; } & kill -9 $$");

    start(100);

    EXPECT_EQ(installer->error().error_message, "Failed to install artifacts");
    EXPECT_EQ(tools.calls().size(), 2U);
    rest.end();
    EXPECT_TRUE(becomes_free(lock_of_chips(platform)));
}

TEST_F(MTDInstallerTest, PartitionThatReadsBackDifferentlyIsAnError) {
    tools.add("dd", "echo 'boot loadeR' >\"${2#of=}\"");

    start();

    expect_failure("Flash verification failed");
    EXPECT_EQ(installer->error().error_details, "filename: " + device);
    EXPECT_EQ(gateway.read("dev/mtd1"), "boot loadeR\n");
    EXPECT_EQ(tools.calls(), (Lines{erase_command(), write_command()}));
}

TEST_F(MTDInstallerTest, MissingAndKilledToolsAreFailures) {
    tools.add("dd", "kill -9 $$");
    start(1);
    expect_failure("Failed to install artifacts");

    tools.remove("dd");
    start(1);
    expect_failure("Failed to install artifacts");

    tools.add("flash_erase", "kill -9 $$");
    start(1);
    expect_failure("External program returned an error");

    tools.remove("flash_erase");
    start(1);
    expect_failure("External program returned an error");
    EXPECT_EQ(installer->error().error_details,
              "popen_command: " + erase_command() + "\nprogram_exit_code: 127");
}

}  // namespace
}  // namespace zephran::installer
