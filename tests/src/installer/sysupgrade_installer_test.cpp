// SPDX-License-Identifier: Apache-2.0
#include "installer/sysupgrade_installer.h"

#include <gtest/gtest.h>

#include "chip_lock.h"
#include "installer/exceptions.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/interrupting_timer.h"
#include "support/make_chunk.h"
#include "support/simulated_tools.h"

namespace zephran::installer {
namespace {

using Lines = std::vector<std::string>;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

const std::string old_version = "2.0_20250101";
const std::string new_version = "2.1_20260101";
const std::string previous = "zephran.device.previous_version_os";
const std::string unconfirmed = "zephran.device.previous_version_os_tmp";

class SysupgradeInstallerTest : public testing::Test {
protected:
    SysupgradeInstallerTest() {
        environment.version_file = platform.directory.path("nevra-version");
        run_version("2.0", "20250101");
    }

    void run_version(const std::string& version, const std::string& date) const {
        platform.directory.write("nevra-version",
                                 "FIRMWARE_VERSION=" + version + " FIRMWARE_DATE=" + date + "\n");
    }
    void make_installer(const std::string& flash_type = {}) {
        installer = std::make_unique<SysupgradeInstaller>(flash_type, environment, options);
        installer->assign(make_chunk("os", {"fw.bin"}, "firmware", new_version), attributes);
    }
    /// Takes the steps that check and start the installation with this tool.
    void start_with(const std::string& tool, const std::string& flash_type = {}) {
        tools.add("sysupgrade", tool);
        make_installer(flash_type);
        installer->tick();
        installer->tick();
    }
    [[nodiscard]] Lines executed() const {
        return logged_after("start_installation: event=executing command=", log.text());
    }
    void expect_tool_failure(const std::string& details) const {
        EXPECT_TRUE(installer->is_cancelled());
        EXPECT_EQ(installer->error().error_message, "External program returned an error");
        EXPECT_EQ(installer->error().error_details, details);
    }

    FakePlatform platform;
    CapturedLog log{"INFO"};
    SimulatedTools tools;
    // A test that waited this long by mistake would time out.
    SysupgradeInstaller::Environment environment{{}, std::chrono::hours{1}};
    InstallationOptions options;
    hawkbit::Attributes attributes;
    std::string path = platform.temp_directory + "fw.bin";
    std::unique_ptr<SysupgradeInstaller> installer;
};

TEST_F(SysupgradeInstallerTest, CommandNamesTheArtifactInQuotes) {
    start_with("", "");

    EXPECT_EQ(executed(), Lines{"sysupgrade  '" + path + "'"});
    EXPECT_EQ(tools.calls(), Lines{"sysupgrade " + path});
}

TEST_F(SysupgradeInstallerTest, CommandForNandFlashHasTheNandOption) {
    start_with("", "nand");

    EXPECT_EQ(executed(), Lines{"sysupgrade nand '" + path + "'"});
    EXPECT_EQ(tools.calls(), Lines{"sysupgrade nand " + path});
}

TEST_F(SysupgradeInstallerTest, OtherFlashTypesHaveNoOption) {
    for (const char* const flash_type : {"nor", "NAND", "nand ", "nand2"}) {
        start_with("", flash_type);

        EXPECT_EQ(executed().back(), "sysupgrade  '" + path + "'") << flash_type;
    }
}

TEST(SysupgradeInstallerEnvironment, AreThoseOfTheDevice) {
    EXPECT_EQ(SysupgradeInstaller::Environment{}.version_file, "/etc/nevra-version");
    EXPECT_EQ(SysupgradeInstaller::Environment{}.upgrade_pause, std::chrono::seconds{300});
}

TEST_F(SysupgradeInstallerTest, RunningVersionIsNotInstalledAgain) {
    run_version("2.1", "20260101");

    start_with("exit 1");
    EXPECT_FALSE(installer->is_finished());
    installer->tick();

    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(tools.calls(), Lines{});
    EXPECT_TRUE(platform.prepared_installs.empty());
    EXPECT_EQ(platform.config.values.count(unconfirmed), 0U);
    EXPECT_EQ(platform.config.values.count(previous), 0U);
    const std::string line =
        "start_installation: action=start_installation "
        "message=version is already installed version=";
    EXPECT_EQ(logged_after(line, log.text()), Lines{new_version});
    EXPECT_EQ(HawkbitInstaller::get_installed_version("os"), new_version);
}

TEST_F(SysupgradeInstallerTest, RunningVersionIsAskedForOnce) {
    run_version("2.1", "20260101");

    start_with("exit 1");
    std::filesystem::remove(environment.version_file);
    installer->tick();

    EXPECT_TRUE(installer->is_finished());
}

TEST_F(SysupgradeInstallerTest, ToolMayTakeItsTime) {
    start_with("sleep 1.2\necho written\nexit 1");

    expect_tool_failure("program_exit_code: 1\nprogram_output: written\n");
}

TEST_F(SysupgradeInstallerTest, BeginningOfTheRunningVersionIsAnotherVersion) {
    run_version("2.1", "202601010");

    start_with("exit 1");

    EXPECT_EQ(tools.calls().size(), 1U);
}

TEST_F(SysupgradeInstallerTest, RunningVersionIsStoredAndTheDevicePreparedForTheTool) {
    start_with("exit 1");

    EXPECT_EQ(platform.config.values,
              (std::map<std::string, std::string>{{unconfirmed, old_version}}));
    EXPECT_EQ(platform.prepared_installs, Lines{"os"});
    EXPECT_EQ(platform.recovered_installs, 1U);
}

TEST_F(SysupgradeInstallerTest, UpgradeGoesOnWhenTheStoreRefuses) {
    platform.config.read_only = true;

    start_with("");

    EXPECT_EQ(tools.calls().size(), 1U);
    EXPECT_EQ(
        logged_after(" store_version: action=store_version message=could not store config entry",
                     log.text()),
        Lines{" key=" + unconfirmed + " value=" + old_version})
        << log.text();
}

TEST_F(SysupgradeInstallerTest, UnreadableVersionStopsItBeforeTheTool) {
    std::filesystem::remove(environment.version_file);

    start_with("");

    EXPECT_TRUE(installer->is_cancelled());
    EXPECT_EQ(installer->error().error_message, "External program returned an error");
    EXPECT_EQ(tools.calls(), Lines{});
    EXPECT_TRUE(platform.config.writes.empty());
}

TEST_F(SysupgradeInstallerTest, ItIsSaidAfterThePreparationAndBeforeTheToolIsRun) {
    std::size_t preparations_before = 0;
    std::size_t calls_before = 1;
    tools.add("sysupgrade", "exit 1");
    make_installer();
    installer->call_before_beginning([&](const auto&) {
        preparations_before = platform.prepared_installs.size();
        calls_before = tools.calls().size();
    });

    installer->tick();
    installer->tick();

    EXPECT_EQ(preparations_before, 1U);
    EXPECT_EQ(calls_before, 0U);
    EXPECT_EQ(tools.calls().size(), 1U);
}

TEST_F(SysupgradeInstallerTest, LimitOfToolsHoldsForThePreparationOnly) {
    options.tool_limit = std::chrono::milliseconds{1};

    start_with("sleep 0.2; exit 1");

    EXPECT_EQ(platform.preparation_limits, std::vector<ToolLimit>{std::chrono::milliseconds{1}});
    expect_tool_failure("program_exit_code: 1\nprogram_output: ");
}

class SysupgradeHandover : public SysupgradeInstallerTest {
protected:
    SysupgradeHandover() {
        options.upgrade_handover = UpgradeHandover::any;
        environment.upgrade_pause = pause;
    }
    /// Whether the installer waits for a reboot after a tool that ends in this way.
    bool waits_after(const std::string& tool) {
        const auto start = steady_clock::now();
        start_with(tool);
        return steady_clock::now() - start >= pause;
    }

    static constexpr milliseconds pause{2000};
};

TEST_F(SysupgradeHandover, ErrorOutputIsReadAsWell) {
    environment.upgrade_pause = milliseconds{0};

    start_with("echo out; echo err >&2; exit 1");

    EXPECT_EQ(executed(), Lines{"sysupgrade  '" + path + "' 2>&1"});
    expect_tool_failure("program_exit_code: 1\nprogram_output: out\nerr\n");
}

TEST_F(SysupgradeHandover, TextOfTheToolIsWaitedOutWhereverItIs) {
    EXPECT_TRUE(waits_after("echo Commencing upgrade >&2; exit 1"));
    expect_tool_failure("program_exit_code: 1\nprogram_output: Commencing upgrade\n");
}

TEST_F(SysupgradeHandover, TextOfAKilledToolIsWaitedOut) {
    EXPECT_TRUE(waits_after("echo Commencing upgrade; kill -9 $$"));
    EXPECT_TRUE(installer->error().has_error);
}

TEST_F(SysupgradeHandover, StatusOfALostAnswerIsWaitedOut) {
    EXPECT_TRUE(waits_after("exit 246"));
    expect_tool_failure("program_exit_code: 246\nprogram_output: ");
}

TEST_F(SysupgradeHandover, SuccessIsWaitedOutAndThenJudgedByTheVersion) {
    EXPECT_TRUE(waits_after("exit 0"));
    installer->tick();
    EXPECT_EQ(installer->error().error_message,
              "Expected version does not match the version that was found");
}

TEST_F(SysupgradeHandover, RefusedImageIsNotWaitedFor) {
    environment.upgrade_pause = std::chrono::hours{1};

    start_with("echo Image check failed. >&2; exit 1");

    EXPECT_EQ(platform.recovered_installs, 1U);
}

TEST_F(SysupgradeInstallerTest, OutputOfAFailedToolIsReportedUnchanged) {
    start_with("echo 'Image <i>check</i> failed & co.'\nprintf '\\377\\300'\nexit 1");

    expect_tool_failure(
        "program_exit_code: 1\nprogram_output: Image <i>check</i> failed & co.\n\xFF\xC0");
    EXPECT_EQ(platform.recovered_installs, 1U);
}

TEST_F(SysupgradeInstallerTest, LongOutputIsComplete) {
    start_with("head -c 100000 /dev/zero | tr '\\0' x\nexit 1");

    expect_tool_failure("program_exit_code: 1\nprogram_output: " + std::string(100000, 'x'));
}

TEST_F(SysupgradeInstallerTest, MissingToolIsAnError) {
    make_installer();

    installer->tick();
    installer->tick();

    expect_tool_failure("program_exit_code: 127\nprogram_output: ");
}

// "kill 0" signals the whole process group, including the shell that runs the tool.
TEST_F(SysupgradeInstallerTest, SignalThatEndsTheToolIsTheError) {
    start_with("echo writing\nkill -9 0");

    EXPECT_TRUE(installer->is_cancelled());
    EXPECT_EQ(installer->error().error_message, "Program terminated abnormally");
    EXPECT_EQ(
        installer->error().error_details,
        "popen_command: sysupgrade  '" + path + "'\nprogram_signal: 9\nprogram_output: writing\n");
}

TEST_F(SysupgradeInstallerTest, WaitsForTheRebootAfterTheToolHasHandedOver) {
    environment.upgrade_pause = milliseconds{50};

    const auto begin = steady_clock::now();
    start_with("echo 'Commencing upgrade. Closing all shell sessions.'\nexit 10");

    EXPECT_GE(steady_clock::now() - begin, environment.upgrade_pause);
    expect_tool_failure(
        "program_exit_code: 10\n"
        "program_output: Commencing upgrade. Closing all shell sessions.\n");
    EXPECT_EQ(platform.recovered_installs, 1U);
    EXPECT_EQ(platform.config.values.at(unconfirmed), old_version);
}

TEST_F(SysupgradeInstallerTest, ToolHoldsTheLock) {
    start_with(held_lock(platform));

    EXPECT_EQ(platform.directory.read("held"), lock_of_chips(platform) + "\n");
    EXPECT_TRUE(becomes_free(lock_of_chips(platform)));
}

TEST_F(SysupgradeInstallerTest, NothingIsPreparedOrRunWhileAnotherToolWritesAChip) {
    common::LockFile other_tool{lock_of_chips(platform)};
    ASSERT_TRUE(other_tool.try_to_lock());

    start_with("echo 'FIRMWARE_VERSION=2.1 FIRMWARE_DATE=20260101' >'" + environment.version_file +
               "'");
    installer->tick();
    EXPECT_TRUE(tools.calls().empty());
    EXPECT_TRUE(platform.prepared_installs.empty());
    EXPECT_TRUE(platform.config.values.empty());
    EXPECT_FALSE(installer->error().has_error);
    other_tool.unlock();
    installer->tick();

    EXPECT_EQ(tools.calls().size(), 1U);
    EXPECT_EQ(platform.prepared_installs, Lines{"os"});
    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(platform.config.values.at(previous), old_version);
}

TEST_F(SysupgradeInstallerTest, WaitForTheRebootContinuesAfterSignals) {
    environment.upgrade_pause = milliseconds{300};
    tools.add("sysupgrade", "echo Commencing upgrade\nexit 10");
    make_installer();
    installer->tick();

    const InterruptingTimer signals{milliseconds{20}};
    const auto begin = steady_clock::now();
    installer->tick();

    EXPECT_GE(steady_clock::now() - begin, environment.upgrade_pause);
    EXPECT_GT(InterruptingTimer::interruptions(), 0);
    expect_tool_failure("program_exit_code: 10\nprogram_output: Commencing upgrade\n");
}

TEST_F(SysupgradeInstallerTest, NoWaitAfterAnyOtherEndOfTheTool) {
    start_with("echo nothing to do\nexit 10");
    expect_tool_failure("program_exit_code: 10\nprogram_output: nothing to do\n");

    for (const std::string status : {"11", "246"}) {
        start_with("echo Commencing upgrade\nexit " + status);
        expect_tool_failure("program_exit_code: " + status +
                            "\nprogram_output: Commencing upgrade\n");
    }

    start_with("echo Commencing upgrade");
    EXPECT_FALSE(installer->error().has_error);
}

TEST_F(SysupgradeInstallerTest, StandardErrorNeitherHandsOverNorIsReported) {
    for (const std::string status : {"10", "246"}) {
        start_with("echo writing\necho Commencing upgrade >&2\nexit " + status);

        expect_tool_failure("program_exit_code: " + status + "\nprogram_output: writing\n");
    }
    EXPECT_EQ(platform.recovered_installs, 2U);
}

TEST_F(SysupgradeInstallerTest, StandardErrorOfASuccessIsNoFailure) {
    start_with("echo Commencing upgrade >&2");
    EXPECT_FALSE(installer->error().has_error);
    installer->tick();

    EXPECT_EQ(installer->error().error_message,
              "Expected version does not match the version that was found");
    EXPECT_EQ(installer->error().error_details,
              "expected_version: " + new_version + "\nfound_version: " + old_version);
}

TEST_F(SysupgradeInstallerTest, SuccessOfTheToolAloneDoesNotFinishIt) {
    start_with("");
    EXPECT_FALSE(installer->error().has_error);
    installer->tick();

    EXPECT_FALSE(installer->is_finished());
    EXPECT_EQ(installer->error().error_message,
              "Expected version does not match the version that was found");
}

TEST_F(SysupgradeInstallerTest, NewVersionWithoutARebootFinishesIt) {
    start_with("echo 'FIRMWARE_VERSION=2.1 FIRMWARE_DATE=20260101' >'" + environment.version_file +
               "'");
    EXPECT_FALSE(installer->is_finished());
    installer->tick();

    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(platform.config.values.at(previous), old_version);
}

}  // namespace
}  // namespace zephran::installer
