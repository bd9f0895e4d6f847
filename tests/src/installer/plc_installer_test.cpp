// SPDX-License-Identifier: Apache-2.0
#include "installer/plc_installer.h"

#include <chrono>

#include <gtest/gtest.h>

#include "chip_lock.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/make_chunk.h"
#include "support/simulated_tools.h"

namespace zephran::installer {
namespace {

using Lines = std::vector<std::string>;

class PLCInstallerTest : public testing::Test {
protected:
    /// Takes the steps that check and start the installation with this service.
    void start_with(const std::string& service, const ToolLimit& limit = std::nullopt) {
        installer = std::make_unique<PLCInstaller>(
            PLCInstaller::Environment{tools.add("plc", service), firmware}, limit);
        installer->call_before_overwriting(
            [this](const auto&) { overwritten = platform.directory.read("user.nvm.tmp"); });
        installer->assign(make_chunk("plc", {"user.nvm"}, "chip", "7.8"), attributes);
        installer->tick();
        installer->tick();
    }

    FakePlatform platform;
    CapturedLog log{"INFO"};
    SimulatedTools tools;
    hawkbit::Attributes attributes;
    std::string source = platform.directory.path("user.nvm");
    std::string firmware = platform.directory.path("user.nvm.tmp");
    std::string overwritten = "not yet";
    std::unique_ptr<PLCInstaller> installer;
};

TEST(PLCInstallerEnvironment, AreThoseOfTheService) {
    EXPECT_EQ(PLCInstaller::Environment{}.service, "/etc/init.d/plc");
    EXPECT_EQ(PLCInstaller::Environment{}.firmware, "/lib/firmware/plc/user.nvm.tmp");
}

TEST_F(PLCInstallerTest, FirmwareIsStoredWhileTheServiceIsStopped) {
    platform.directory.write("user.nvm", "new");
    platform.directory.write("user.nvm.tmp", "old, and longer");

    const std::string seen = platform.directory.path("seen");
    start_with("echo \"$1: $(cat '" + firmware + "')\" >>'" + seen + "'");

    EXPECT_EQ(tools.calls(), (Lines{"plc stop", "plc start"}));
    EXPECT_EQ(platform.directory.read("seen"), "stop: old, and longer\nstart: new\n");
    EXPECT_EQ(logged_after("start_installation: event=copy_file", log.text()),
              Lines{" from=" + source + " to=" + firmware + " message=storing new PLC firmware"});
}

TEST_F(PLCInstallerTest, ItIsSaidBeforeTheFirmwareIsOverwritten) {
    platform.directory.write("user.nvm", "new");
    platform.directory.write("user.nvm.tmp", "old");

    start_with("");

    EXPECT_EQ(overwritten, "old");
}

TEST_F(PLCInstallerTest, FirmwareIsLeftAsItIsIfTheServiceCannotBeStopped) {
    platform.directory.write("user.nvm", "new");

    start_with("exit 1");

    EXPECT_EQ(overwritten, "not yet");
}

TEST_F(PLCInstallerTest, ServiceThatMeetsTheLimitHasFailed) {
    start_with("exec sleep 60", std::chrono::milliseconds{200});

    EXPECT_EQ(installer->error().error_message, "Program terminated abnormally");
    EXPECT_EQ(tools.calls(), Lines{"plc stop"});
}

TEST_F(PLCInstallerTest, ServiceDoesNotHoldTheLock) {
    platform.directory.write("user.nvm", "new");

    start_with(held_lock(platform));

    EXPECT_EQ(tools.calls(), (Lines{"plc stop", "plc start"}));
    EXPECT_EQ(platform.directory.read("held"), "none\nnone\n");
}

TEST_F(PLCInstallerTest, IsFinishedOnTheFollowingTickAndRecorded) {
    const std::string all_bytes{"\0\x01\xFF\r\n", 5};
    platform.directory.write("user.nvm", all_bytes);

    start_with("");
    EXPECT_FALSE(installer->is_finished());
    installer->tick();

    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(platform.directory.read("user.nvm.tmp"), all_bytes);
    EXPECT_EQ(HawkbitInstaller::get_installed_version("plc"), "7.8");
}

TEST_F(PLCInstallerTest, NothingIsCopiedWhenTheServiceCannotBeStopped) {
    platform.directory.write("user.nvm", "new");

    start_with("exit 1");

    EXPECT_TRUE(installer->is_cancelled());
    EXPECT_EQ(installer->error().error_message, "External program returned an error");
    EXPECT_EQ(tools.calls(), Lines{"plc stop"});
    EXPECT_FALSE(platform.directory.has("user.nvm.tmp"));
    EXPECT_EQ(logged_after("copy_file", log.text()), Lines{});
}

TEST_F(PLCInstallerTest, ServiceThatDoesNotStartIsAnError) {
    platform.directory.write("user.nvm", "new");

    start_with("[ $1 = stop ] || exit 6");
    installer->tick();

    EXPECT_TRUE(installer->is_cancelled());
    EXPECT_FALSE(installer->is_finished());
    EXPECT_EQ(installer->error().error_message, "External program returned an error");
    const std::string end = "/plc start\nprogram_exit_code: 6";
    const std::string& details = installer->error().error_details;
    ASSERT_GE(details.size(), end.size());
    EXPECT_EQ(details.substr(details.size() - end.size()), end);
    EXPECT_EQ(HawkbitInstaller::get_installed_version("plc"), "");
}

TEST_F(PLCInstallerTest, ServiceIsStartedAgainWhenTheArtifactIsMissing) {
    start_with("");

    EXPECT_TRUE(installer->is_cancelled());
    EXPECT_EQ(installer->error().error_message, "Failed to open file for reading");
    EXPECT_EQ(installer->error().error_details, "filename: " + source);
    EXPECT_EQ(tools.calls(), (Lines{"plc stop", "plc start"}));
}

TEST_F(PLCInstallerTest, ServiceIsStartedAgainWhenTheDirectoryIsMissing) {
    platform.directory.write("user.nvm", "new");
    firmware = platform.directory.path("missing/user.nvm.tmp");

    start_with("");

    EXPECT_TRUE(installer->is_cancelled());
    EXPECT_EQ(installer->error().error_message, "Failed to open file for writing");
    EXPECT_EQ(installer->error().error_details, "filename: " + firmware);
    EXPECT_EQ(tools.calls(), (Lines{"plc stop", "plc start"}));
}

TEST_F(PLCInstallerTest, ServiceIsStartedAgainWhenTheDiskIsFull) {
    platform.directory.write("user.nvm", "new");
    firmware = "/dev/full";

    start_with("");

    EXPECT_TRUE(installer->is_cancelled());
    EXPECT_EQ(installer->error().error_message, "Failed to write to file");
    EXPECT_EQ(tools.calls(), (Lines{"plc stop", "plc start"}));
}

TEST_F(PLCInstallerTest, StartAfterAFailedCopyIsNotWaitedForBeyondTheLimit) {
    const auto before = std::chrono::steady_clock::now();

    start_with("[ $1 = stop ] || exec sleep 60", std::chrono::milliseconds{500});

    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds{20});
    EXPECT_EQ(logged_after("message=could not start service again", log.text()).size(), 1U);
}

TEST_F(PLCInstallerTest, FailedCopyIsTheErrorEvenIfTheServiceDoesNotStart) {
    start_with("[ $1 = stop ] || exit 1");

    EXPECT_TRUE(installer->is_cancelled());
    EXPECT_EQ(installer->error().error_message, "Failed to open file for reading");
    EXPECT_EQ(tools.calls(), (Lines{"plc stop", "plc start"}));
    EXPECT_EQ(logged_after("message=could not start service again", log.text()).size(), 1U);
}

}  // namespace
}  // namespace zephran::installer
