// SPDX-License-Identifier: Apache-2.0
#include "installer/zwprogrammer_installer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "chip_lock.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/make_chunk.h"
#include "support/simulated_tools.h"

namespace zephran::installer {
namespace {

class ZWProgrammerInstallerTest : public testing::Test {
protected:
    /// Takes the steps that check and start the installation.
    void start() {
        installer.assign(make_chunk("zw", {"zw.bin"}, "radio", "6.71"), attributes);
        installer.tick();
        installer.tick();
    }
    [[nodiscard]] std::string command() const {
        return "zwprogrammer --progzwave '" + platform.temp_directory + "zw.bin'";
    }

    FakePlatform platform;
    CapturedLog log{"INFO"};
    SimulatedTools tools;
    hawkbit::Attributes attributes;
    ZWProgrammerInstaller installer;
};

TEST_F(ZWProgrammerInstallerTest, CommandNamesTheArtifactInQuotes) {
    tools.add("zwprogrammer");

    start();

    EXPECT_EQ(logged_after("start_installation: event=executing command=", log.text()),
              std::vector<std::string>{command()});
    EXPECT_THAT(log.text(),
                testing::ContainsRegex("INFO [^ ]+ start_installation: event=executing"));
    EXPECT_EQ(tools.calls(), std::vector<std::string>{"zwprogrammer --progzwave " +
                                                      platform.temp_directory + "zw.bin"});
}

TEST_F(ZWProgrammerInstallerTest, FileNamePassesTheShellUnchanged) {
    platform.temp_directory = platform.directory.path("two  blanks") + "/";
    tools.add("zwprogrammer",
              "[ $# -eq 2 ] && [ \"$2\" = '" + platform.temp_directory + "zw.bin' ]");

    start();
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
}

TEST_F(ZWProgrammerInstallerTest, ItIsSaidBeforeTheChipIsOverwritten) {
    std::size_t calls_before = 1;
    tools.add("zwprogrammer");
    installer.call_before_overwriting([&](const auto&) { calls_before = tools.calls().size(); });

    start();

    EXPECT_EQ(calls_before, 0U);
    EXPECT_EQ(tools.calls().size(), 1U);
}

TEST_F(ZWProgrammerInstallerTest, ChipIsLeftAsItIsIfThatFails) {
    tools.add("zwprogrammer");
    installer.call_before_overwriting(
        [](const auto&) { ZEPHRAN_THROW(common::NotImplementedException{}); });

    start();

    EXPECT_TRUE(installer.error().has_error);
    EXPECT_TRUE(tools.calls().empty());
}

TEST_F(ZWProgrammerInstallerTest, ToolHoldsTheLock) {
    tools.add("zwprogrammer", held_lock(platform));

    start();

    EXPECT_EQ(platform.directory.read("held"), lock_of_chips(platform) + "\n");
}

TEST_F(ZWProgrammerInstallerTest, FinishedInstallationIsRecorded) {
    tools.add("zwprogrammer");

    start();
    EXPECT_FALSE(installer.is_finished());
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_EQ(HawkbitInstaller::get_installed_version("zw"), "6.71");
    EXPECT_NE(HawkbitInstaller::get_installed_version_time("zw"), "");
}

TEST_F(ZWProgrammerInstallerTest, ExitCodeIsReportedAndTheOutputIsNot) {
    tools.add("zwprogrammer", "echo chip is locked; exit 4");

    start();

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "External program returned an error");
    EXPECT_EQ(installer.error().error_details,
              "popen_command: " + command() + "\nprogram_exit_code: 4");
    EXPECT_EQ(installer.hawkbit_log(), "");
}

}  // namespace
}  // namespace zephran::installer
