// SPDX-License-Identifier: Apache-2.0
#include "installer/opkg_installer.h"

#include <chrono>

#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/make_chunk.h"
#include "support/simulated_tools.h"

namespace zephran::installer {
namespace {

class OpkgInstallerTest : public testing::Test {
protected:
    /// Takes the steps that check and start the installation with this package manager.
    void start_with(const std::string& package_manager) {
        tools.add("opkg", package_manager);
        start();
    }
    void start() {
        installer.assign(make_chunk("opkg", {"pkg.ipk"}), attributes);
        installer.tick();
        installer.tick();
    }

    FakePlatform platform;
    CapturedLog log{"INFO"};
    SimulatedTools tools;
    hawkbit::Attributes attributes;
    OpkgInstaller installer;
};

TEST_F(OpkgInstallerTest, CommandNamesTheArtifactAndJoinsTheErrorOutput) {
    start_with("");

    const std::string path = platform.temp_directory + "pkg.ipk";
    const std::string logged =
        "start_installation: action=start_installation installer=opkg command=";
    EXPECT_EQ(logged_after(logged, log.text()),
              std::vector<std::string>{"opkg --force-overwrite install " + path + " 2>&1"});
    EXPECT_EQ(tools.calls(), std::vector<std::string>{"opkg --force-overwrite install " + path});
}

TEST_F(OpkgInstallerTest, PackageManagerThatMeetsTheLimitHasFailed) {
    tools.add("opkg", "echo Installing; exec sleep 60");
    OpkgInstaller limited{std::chrono::seconds{1}};
    limited.assign(make_chunk("opkg", {"pkg.ipk"}), attributes);

    limited.tick();
    limited.tick();

    EXPECT_EQ(limited.error().error_message, "Program terminated abnormally");
    EXPECT_NE(limited.error().error_details.find("program_output: Installing"), std::string::npos);
}

TEST_F(OpkgInstallerTest, ServiceThatAPackageHasStartedDoesNotHoldTheDaemon) {
    tools.add("opkg", "echo Installed; sleep 60 & exit 0");
    OpkgInstaller limited{std::chrono::seconds{50}};
    limited.assign(make_chunk("opkg", {"pkg.ipk"}), attributes);
    const auto start = std::chrono::steady_clock::now();

    limited.tick();
    limited.tick();
    limited.tick();

    EXPECT_TRUE(limited.is_finished());
    EXPECT_EQ(limited.hawkbit_log(), "Installed\n");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{30});
}

TEST_F(OpkgInstallerTest, InstalledPackageIsFinishedOnTheFollowingTick) {
    start_with("echo Installing pkg\necho 'warning: old' >&2\necho Configuring pkg");
    EXPECT_FALSE(installer.is_finished());
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.error().has_error);
    EXPECT_EQ(installer.hawkbit_log(), "Installing pkg\nwarning: old\nConfiguring pkg\n");
}

TEST_F(OpkgInstallerTest, PackageManagerMayTakeItsTime) {
    start_with("sleep 1.2\necho Configured");

    EXPECT_FALSE(installer.error().has_error);
    EXPECT_EQ(installer.hawkbit_log(), "Configured\n");
}

TEST_F(OpkgInstallerTest, SuccessfulInstallationLogsOneLineAndStoresNoRecord) {
    start_with("");
    installer.tick();

    EXPECT_EQ(logged_after(" ", log.text()).size(), 1U) << log.text();
    EXPECT_TRUE(platform.config.writes.empty());
}

TEST_F(OpkgInstallerTest, OutputOfAFailedInstallationIsReportedUnchanged) {
    start_with("echo 'Collected errors: <b>pkg.ipk</b> & co.' >&2\nexit 255");

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Failed to install the package");
    EXPECT_EQ(installer.error().error_details,
              "installer_output: Collected errors: <b>pkg.ipk</b> & co.\n");
    EXPECT_EQ(installer.hawkbit_log(), "Collected errors: <b>pkg.ipk</b> & co.\n");
}

TEST_F(OpkgInstallerTest, FailureWithoutOutputIsAFailure) {
    start_with("exit 1");

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_details, "installer_output: ");
    EXPECT_EQ(installer.error().code, 2001);
}

TEST_F(OpkgInstallerTest, LongOutputIsCompleteInReportAndError) {
    start_with("head -c 100000 /dev/zero | tr '\\0' x\nexit 1");

    EXPECT_EQ(installer.hawkbit_log(), std::string(100000, 'x'));
    EXPECT_EQ(installer.error().error_details, "installer_output: " + std::string(100000, 'x'));
}

TEST_F(OpkgInstallerTest, BytesThatAreNotUtf8StayInTheOutput) {
    start_with("printf 'a\\377\\300b'");
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_EQ(installer.hawkbit_log(),
              "a\xFF\xC0"
              "b");
}

TEST_F(OpkgInstallerTest, MissingPackageManagerIsNamedByTheShell) {
    start();

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Failed to install the package");
    EXPECT_NE(installer.error().error_details.find("opkg: not found"), std::string::npos)
        << installer.error().error_details;
}

// "kill 0" signals the whole process group, including the shell that runs the tool.
TEST_F(OpkgInstallerTest, SignalThatEndsThePackageManagerIsTheError) {
    start_with("echo Unpacking\nkill -9 0");

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Program terminated abnormally");
    EXPECT_NE(
        installer.error().error_details.find("program_signal: 9\nprogram_output: Unpacking\n"),
        std::string::npos)
        << installer.error().error_details;
}

}  // namespace
}  // namespace zephran::installer
