// SPDX-License-Identifier: Apache-2.0
#include <chrono>

#include <gtest/gtest.h>

#include "common/lock_file.h"
#include "installer/sysupgrade_installer.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/make_chunk.h"
#include "support/simulated_tools.h"

namespace zephran::installer {
namespace {

const std::string previous_key = "zephran.device.previous_version_os";
const std::string unconfirmed_key = "zephran.device.previous_version_os_tmp";
const std::string wanted = "2.1_20260101";

/// The installation of firmware 2.1 after the reboot.
class SysupgradeResumeTest : public testing::Test {
protected:
    SysupgradeResumeTest() { platform.config.values[unconfirmed_key] = "2.0_20250101"; }

    void resume_with_version(const std::string& version, const std::string& date) {
        platform.directory.write("nevra-version",
                                 "FIRMWARE_VERSION=" + version + " FIRMWARE_DATE=" + date + "\n");
        resume();
    }
    void resume() {
        installer.assign(make_chunk("os", {"fw.bin"}, "firmware", wanted), attributes);
        installer.resume();
        installer.tick();
    }

    FakePlatform platform;
    CapturedLog log{"INFO"};
    SimulatedTools tools;
    hawkbit::Attributes attributes;
    SysupgradeInstaller installer{
        "", {platform.directory.path("nevra-version"), std::chrono::hours{1}}};
};

TEST_F(SysupgradeResumeTest, NewVersionFinishesIt) {
    resume_with_version("2.1", "20260101");

    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.error().has_error);
    EXPECT_EQ(platform.config.values.at(previous_key), "2.0_20250101");
    EXPECT_EQ(platform.config.values.count(unconfirmed_key), 0U);
    EXPECT_EQ(HawkbitInstaller::get_installed_version("os"), wanted);
}

// A power cut in between must not lose the version that was running before.
TEST_F(SysupgradeResumeTest, PreviousVersionIsConfirmedBeforeTheNoteIsRemoved) {
    resume_with_version("2.1", "20260101");

    const auto& writes = platform.config.writes;
    ASSERT_GE(writes.size(), 2U);
    EXPECT_EQ(writes[0].first, previous_key);
    EXPECT_EQ(writes[1].first, unconfirmed_key);
}

TEST_F(SysupgradeResumeTest, OlderPreviousVersionIsReplaced) {
    platform.config.values[previous_key] = "1.0_20200101";

    resume_with_version("2.1", "20260101");

    EXPECT_EQ(platform.config.values.at(previous_key), "2.0_20250101");
}

TEST_F(SysupgradeResumeTest, PreviousVersionIsKeptWhenNoneWasNoted) {
    platform.config.values = {{previous_key, "1.0_20200101"}};

    resume_with_version("2.1", "20260101");

    EXPECT_TRUE(installer.is_finished());
    EXPECT_EQ(platform.config.values.at(previous_key), "1.0_20200101");
}

TEST_F(SysupgradeResumeTest, NothingIsRunOrPreparedAgain) {
    tools.add("sysupgrade");

    resume_with_version("2.0", "20250101");
    installer.tick();

    EXPECT_TRUE(tools.calls().empty());
    EXPECT_TRUE(platform.prepared_installs.empty());
}

TEST_F(SysupgradeResumeTest, OtherVersionEndsCancelledAndStaysTheError) {
    resume_with_version("2.0", "20250101");
    installer.tick();

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_FALSE(installer.is_finished());
    EXPECT_EQ(installer.error().error_message,
              "Expected version does not match the version that was found");
    EXPECT_EQ(installer.error().error_details,
              "expected_version: 2.1_20260101\nfound_version: 2.0_20250101");
    EXPECT_TRUE(platform.config.writes.empty());
    EXPECT_EQ(HawkbitInstaller::get_installed_version("os"), "");
}

class SysupgradeSurvivorTest : public SysupgradeResumeTest {
protected:
    SysupgradeSurvivorTest() { EXPECT_TRUE(surviving_tool.try_to_lock()); }

    common::LockFile surviving_tool{platform.run_directory + "zephran.chip.lock"};
    SysupgradeInstaller impatient{
        "", {platform.directory.path("nevra-version"), std::chrono::milliseconds{0}}};
};

TEST_F(SysupgradeSurvivorTest, DeviceMayRebootForSomeTimeAfterTheEndOfTheTool) {
    resume_with_version("2.0", "20250101");

    surviving_tool.unlock();
    installer.tick();
    installer.tick();

    EXPECT_FALSE(installer.error().has_error);
    EXPECT_FALSE(installer.is_cancelled());
}

TEST_F(SysupgradeSurvivorTest, OldVersionIsTheErrorAfterThatTime) {
    platform.directory.write("nevra-version", "FIRMWARE_VERSION=2.0 FIRMWARE_DATE=20250101\n");
    impatient.assign(make_chunk("os", {"fw.bin"}, "firmware", wanted), attributes);
    impatient.resume();
    impatient.tick();
    ASSERT_FALSE(impatient.error().has_error);

    surviving_tool.unlock();
    impatient.tick();

    EXPECT_EQ(impatient.error().error_message,
              "Expected version does not match the version that was found");
}

TEST_F(SysupgradeSurvivorTest, NewVersionIsNotWaitedFor) {
    resume_with_version("2.1", "20260101");

    surviving_tool.unlock();
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
}

TEST_F(SysupgradeResumeTest, UnreadableVersionEndsCancelled) {
    resume();
    installer.tick();

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "External program returned an error");
}

TEST_F(SysupgradeResumeTest, StoreThatRefusesDoesNotUndoTheUpgrade) {
    platform.config.read_only = true;

    resume_with_version("2.1", "20260101");

    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.error().has_error);
    EXPECT_EQ(logged_after("message=could not store config entry key=" + previous_key, log.text()),
              std::vector<std::string>{" value=2.0_20250101"});
    EXPECT_EQ(logged_after(" confirm_previous_version: action=confirm_previous_version "
                           "message=could not delete config entry",
                           log.text()),
              std::vector<std::string>{" key=" + unconfirmed_key});
}

TEST_F(SysupgradeResumeTest, UnavailableStoreDoesNotUndoTheUpgrade) {
    platform.config.unavailable = true;

    resume_with_version("2.1", "20260101");

    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.error().has_error);
}

}  // namespace
}  // namespace zephran::installer
