// SPDX-License-Identifier: Apache-2.0
#include "installer/plc_ghn_installer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "chip_lock.h"
#include "installer/installer_factory.h"
#include "plc_ghn_installer_test.h"

namespace zephran::installer {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::StartsWith;

TEST_F(PLCGhnInstallerTest, CommandsAreRunInOrder) {
    start();

    EXPECT_THAT(tools.calls(), ElementsAreArray(commands()));
}

TEST_F(PLCGhnInstallerTest, ToolsHoldTheLockBetweenTheQuestionsForTheVersion) {
    for (std::string* const step :
         {&steps.ask, &steps.arm, &steps.push, &steps.report, &steps.reset, &steps.ask_again}) {
        *step = held_lock(platform) + (step->empty() ? "" : "; " + *step);
    }

    start();

    const std::string held = lock_of_chips(platform) + "\n";
    EXPECT_EQ(platform.directory.read("held"), "none\n" + held + held + held + held + "none\n");
}

TEST_F(PLCGhnInstallerTest, ToolsMayTakeTheirTime) {
    steps.push = "sleep 1.2";

    start();
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
}

TEST_F(PLCGhnInstallerTest, CommandsThatChangeTheModemAreLogged) {
    start();

    EXPECT_THAT(lines(),
                ElementsAre("event=start_installation ghn_interface=br-lan ghn_password=hush "
                            "ghn_mac=02:00:00:00:00:0a",
                            "event=executing command=" + commands().at(1),
                            "event=executing command=" + commands().at(2),
                            "event=executing command=" + commands().at(4),
                            "event=installation_finished installer=plc_ghn new_version=1.2"));
    EXPECT_THAT(logged_after(" INFO ", log.text()),
                testing::Each(StartsWith("plc_ghn_installer.cpp:")));
}

TEST_F(PLCGhnInstallerTest, UpdateOfTheGatewaysModemIsRecorded) {
    start();
    EXPECT_FALSE(installer.is_finished());
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.error().has_error);
    EXPECT_FALSE(installer.will_reboot());
    EXPECT_EQ(HawkbitInstaller::get_installed_version("plc_ghn"), "1.2");
    EXPECT_NE(HawkbitInstaller::get_installed_version_time("plc_ghn"), "");
}

TEST_F(PLCGhnInstallerTest, UpdateOfADeviceBehindTheGatewayIsNotRecorded) {
    attributes["parent"] = "gateway";

    start();
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_THAT(platform.config.writes, IsEmpty());
}

TEST_F(PLCGhnInstallerTest, UpgradeStatusIsReportedAsItCame) {
    steps.report = R"(printf 'STATUS=READY\nINFO=OK \n\n'; echo unseen >&2)";

    start();

    EXPECT_EQ(installer.hawkbit_log(), "STATUS=READY\nINFO=OK \n\n");
}

TEST_F(PLCGhnInstallerTest, OutputOfTheOtherToolsIsNotReported) {
    const std::string write = "echo noise >>'" + platform.directory.path("screen") + "'";
    steps.arm = write;
    steps.reset = write;
    steps.push = "echo noise";
    steps.report = ":";

    start();

    EXPECT_EQ(installer.hawkbit_log(), "");
    EXPECT_EQ(platform.directory.read("screen"), "noise\nnoise\n");
}

TEST_F(PLCGhnInstallerTest, VersionThatContainsTheWantedOneIsInstalledAlready) {
    steps.ask = version("v1.2.3");

    start();

    EXPECT_THAT(tools.calls(), ElementsAreArray(first_commands(1)));
    EXPECT_EQ(installer.hawkbit_log(),
              "Version 1.2 is already installed\n"
              "Reported version by G.hn controller: v1.2.3\n");
    EXPECT_THAT(lines(), ElementsAre(StartsWith("event=start_installation ")));
    installer.tick();
    EXPECT_TRUE(installer.is_finished());
    EXPECT_EQ(HawkbitInstaller::get_installed_version("plc_ghn"), "1.2");
}

TEST_F(PLCGhnInstallerTest, WantedVersionMayContainTheOldOne) {
    steps.ask = version("1");

    start();

    EXPECT_THAT(tools.calls(), ElementsAreArray(commands()));
}

TEST_F(PLCGhnInstallerTest, VersionAfterTheResetNeedsOnlyToContainTheWantedOne) {
    steps.ask_again = version("v1.2.3");

    start();
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_THAT(lines(), Contains("event=installation_finished installer=plc_ghn "
                                  "new_version=v1.2.3"));
}

TEST_F(PLCGhnInstallerTest, ImageIsPushedThroughTheInterfaceOfTheOtherCommands) {
    platform.config.read_once_keys = {"ghn.ghn.interface"};

    start();

    EXPECT_THAT(tools.calls(), ElementsAreArray(commands()));
}

TEST_F(PLCGhnInstallerTest, ModemGetsTimeToResetItself) {
    constexpr std::chrono::milliseconds pause{50};
    PLCGhnInstaller patient{common::MacAddress::parse(mac), pause};
    const std::string note = "date +%s%N >>'" + platform.directory.path("times") + "'";
    // The fourth call resets the modem, the fifth one queries it again.
    tools.add("configlayer", "[ $call -lt 4 ] || " + note + "\n" +
                                 "echo SYSTEM.GENERAL.FW_VERSION=1.$((call / 2))");
    tools.add("l2fwserver");
    patient.assign(make_chunk("plc_ghn", {"modem.bin"}, "modem", "1.2"), attributes);

    patient.tick();
    patient.tick();

    long long reset = 0;
    long long question = 0;
    std::istringstream{platform.directory.read("times")} >> reset >> question;
    EXPECT_GE(question - reset, std::chrono::nanoseconds{pause}.count());
    EXPECT_EQ(PLCGhnInstaller::default_reset_pause, std::chrono::seconds{2});
}

TEST_F(PLCGhnInstallerTest, RunningInstallationCannotBeCancelled) {
    start();

    installer.cancel();
    EXPECT_EQ(installer.error().error_message, "Installation cannot be cancelled");
    EXPECT_FALSE(installer.is_cancelled());
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.is_cancelled());
}

TEST_F(PLCGhnInstallerTest, InterruptedInstallationIsNotTakenUp) {
    EXPECT_FALSE(installer.can_resume());
}

TEST_F(PLCGhnInstallerTest, TwoArtifactsAreRefused) {
    tools.add("configlayer", version("1.2"));
    installer.assign(make_chunk("plc_ghn", {"a.bin", "b.bin"}, "modem", "1.2"), attributes);

    installer.tick();
    installer.tick();

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Found unexpected number of artifacts");
    EXPECT_THAT(tools.calls(), IsEmpty());
}

TEST_F(PLCGhnInstallerTest, FactoryTakesTheAddressFromTheContext) {
    tools.add("configlayer", version("1.2"));
    InstallerContext context;
    context.mac_address = common::MacAddress::parse(mac);

    const auto made = InstallerFactory::create_installer("plc_ghn", context);
    made->assign(make_chunk("plc_ghn", {"modem.bin"}, "modem", "1.2"), attributes);
    made->tick();
    made->tick();

    EXPECT_THAT(tools.calls(), ElementsAreArray(first_commands(1)));
}

}  // namespace
}  // namespace zephran::installer
