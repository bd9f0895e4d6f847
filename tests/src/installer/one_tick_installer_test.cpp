// SPDX-License-Identifier: Apache-2.0
#include "installer/one_tick_installer.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <typeinfo>

#include <gtest/gtest.h>

#include "installer/installer_factory.h"
#include "installer/mtd_installer.h"
#include "installer/opkg_installer.h"
#include "installer/plc_installer.h"
#include "installer/sysupgrade_installer.h"
#include "installer/zwprogrammer_installer.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/image_chunk.h"
#include "support/make_chunk.h"
#include "support/simulated_tools.h"

namespace zephran::installer {
namespace {

/// A part type and an installer of it that works in a given directory.
struct Kind {
    std::string part;
    std::function<std::unique_ptr<HawkbitInstaller>(const std::string& root)> make;
    bool reboots;
    bool can_resume;
    bool is_recorded;
};

void PrintTo(const Kind& kind, std::ostream* stream) {
    *stream << kind.part;
}

std::unique_ptr<HawkbitInstaller> make_sysupgrade(const std::string& root) {
    return std::make_unique<SysupgradeInstaller>(
        "", SysupgradeInstaller::Environment{root + "/version", std::chrono::milliseconds{0}});
}
std::unique_ptr<HawkbitInstaller> make_mtd(const std::string& root) {
    return std::make_unique<MTDInstaller>("mtd1", 1,
                                          MTDInstaller::Environment{root + "/dev-", root + "/"});
}
std::unique_ptr<HawkbitInstaller> make_plc(const std::string& root) {
    return std::make_unique<PLCInstaller>(PLCInstaller::Environment{"plc", root + "/user.nvm"});
}
std::unique_ptr<HawkbitInstaller> make_zw(const std::string& /*root*/) {
    return std::make_unique<ZWProgrammerInstaller>();
}
std::unique_ptr<HawkbitInstaller> make_opkg(const std::string& /*root*/) {
    return std::make_unique<OpkgInstaller>();
}

const std::string content = "image\n";
const std::string wanted_version = "2_1";

/// Tools that succeed, and an artifact for the installer of each part type.
class OneTickInstallerTest : public testing::TestWithParam<Kind> {
protected:
    OneTickInstallerTest() {
        root.write("version", "FIRMWARE_VERSION=1 FIRMWARE_DATE=1\n");
        root.write("mtd1/erasesize", "4096\n");
        platform.directory.write("artifact", content);
        tools.add("sysupgrade",
                  "echo 'FIRMWARE_VERSION=2 FIRMWARE_DATE=1' >'" + root.path("version") + "'");
        for (const char* const tool : {"flash_erase", "opkg", "plc", "zwprogrammer"}) {
            tools.add(tool);
        }
        tools.add("dd", "dd \"$@\" 2>/dev/null");
        installer->assign(make_image_chunk(GetParam().part, "artifact", content, wanted_version),
                          attributes);
    }

    void tick(unsigned times) {
        for (; times != 0; --times) {
            installer->tick();
        }
    }
    [[nodiscard]] bool has_run() const { return !tools.calls().empty(); }

    FakePlatform platform;
    CapturedLog log;
    SimulatedTools tools;
    TemporaryDirectory root;
    hawkbit::Attributes attributes;
    std::unique_ptr<HawkbitInstaller> installer = GetParam().make(root.path());
};

TEST_P(OneTickInstallerTest, IsRegisteredForItsPartType) {
    const auto created = InstallerFactory::create_installer(GetParam().part, {});

    ASSERT_NE(created, nullptr);
    const HawkbitInstaller& registered = *created;
    const HawkbitInstaller& expected = *installer;
    EXPECT_EQ(typeid(registered), typeid(expected));
}

TEST(Installers, AreOrderedByTheirPriorities) {
    const CapturedLog log{"INFO"};

    InstallerFactory::report();

    EXPECT_EQ(logged_after("report: action=factory_report ", log.text()),
              (std::vector<std::string>{"part=bl priority=30", "part=opkg priority=60",
                                        "part=os priority=10", "part=plc priority=40",
                                        "part=plc_ghn priority=50", "part=script priority=15",
                                        "part=zw priority=20"}));
}

TEST_P(OneTickInstallerTest, RunsInTheSecondTickAndIsFinishedInTheThird) {
    tick(1);
    EXPECT_FALSE(has_run());
    tick(1);
    EXPECT_TRUE(has_run());
    EXPECT_FALSE(installer->is_finished());
    const auto calls = tools.calls();
    tick(1);

    EXPECT_TRUE(installer->is_finished());
    EXPECT_FALSE(installer->is_cancelled());
    EXPECT_FALSE(installer->error().has_error);
    EXPECT_EQ(tools.calls(), calls);
}

TEST_P(OneTickInstallerTest, RunsNothingWhenCancelledBeforeTheStart) {
    tick(1);

    installer->cancel();
    tick(2);

    EXPECT_TRUE(installer->is_cancelled());
    EXPECT_FALSE(installer->error().has_error);
    EXPECT_FALSE(has_run());
}

TEST_P(OneTickInstallerTest, RefusesACancelAfterTheStartAndFinishes) {
    tick(2);

    installer->cancel();
    EXPECT_EQ(installer->error().error_message, "Installation cannot be cancelled");
    EXPECT_FALSE(installer->is_cancelled());
    tick(1);

    EXPECT_TRUE(installer->is_finished());
    EXPECT_FALSE(installer->is_cancelled());
}

TEST_P(OneTickInstallerTest, TakesExactlyOneArtifact) {
    for (const std::vector<std::string>& artifacts :
         {std::vector<std::string>{}, std::vector<std::string>{"artifact", "other"}}) {
        installer = GetParam().make(root.path());
        installer->assign(make_chunk(GetParam().part, artifacts), attributes);

        tick(2);

        EXPECT_TRUE(installer->is_cancelled());
        EXPECT_EQ(installer->error().error_message, "Found unexpected number of artifacts");
        EXPECT_FALSE(has_run());
    }
}

TEST_P(OneTickInstallerTest, FileNameWithShellCharactersReachesNoTool) {
    for (const char* const name : {"../artifact", "a;reboot", "a'b", "-f", "$(id)", "a b"}) {
        installer = GetParam().make(root.path());
        installer->assign(make_image_chunk(GetParam().part, name, content, wanted_version),
                          attributes);

        tick(2);

        EXPECT_TRUE(installer->is_cancelled()) << name;
        EXPECT_EQ(installer->error().error_message, "Artifact file name is not safe to use");
        EXPECT_FALSE(has_run()) << name;
    }
}

TEST_P(OneTickInstallerTest, SaysWhetherItRebootsResumesAndIsRecorded) {
    EXPECT_EQ(installer->will_reboot(), GetParam().reboots);
    EXPECT_EQ(installer->can_resume(), GetParam().can_resume);
    EXPECT_EQ(installer->records_installed_version(), GetParam().is_recorded);
}

TEST_P(OneTickInstallerTest, VersionIsRecordedOnceItIsFinished) {
    tick(2);
    EXPECT_EQ(HawkbitInstaller::get_installed_version(GetParam().part), "");
    tick(1);

    const bool is_recorded = GetParam().is_recorded;
    EXPECT_EQ(HawkbitInstaller::get_installed_version(GetParam().part),
              is_recorded ? wanted_version : "");
    EXPECT_EQ(HawkbitInstaller::get_installed_version_time(GetParam().part).empty(), !is_recorded);
}

TEST_P(OneTickInstallerTest, NothingIsRecordedForADeviceBehindAGateway) {
    attributes["parent"] = "gateway";

    tick(3);

    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(HawkbitInstaller::get_installed_version(GetParam().part), "");
    EXPECT_EQ(HawkbitInstaller::get_installed_version_time(GetParam().part), "");
}

TEST_P(OneTickInstallerTest, FailingToolsEndItWithoutARecord) {
    for (const char* const tool :
         {"sysupgrade", "flash_erase", "dd", "opkg", "plc", "zwprogrammer"}) {
        tools.add(tool, "exit 1");
    }

    tick(3);

    EXPECT_TRUE(has_run());
    EXPECT_TRUE(installer->is_cancelled());
    EXPECT_FALSE(installer->is_finished());
    EXPECT_TRUE(installer->error().has_error);
    EXPECT_EQ(HawkbitInstaller::get_installed_version(GetParam().part), "");
}

TEST_P(OneTickInstallerTest, StoreThatRefusesTheRecordDoesNotFailTheInstallation) {
    platform.config.read_only = true;

    tick(3);

    EXPECT_TRUE(installer->is_finished());
    EXPECT_FALSE(installer->error().has_error);
}

INSTANTIATE_TEST_SUITE_P(PartTypes, OneTickInstallerTest,
                         testing::Values(Kind{"os", make_sysupgrade, true, true, true},
                                         Kind{"bl", make_mtd, false, false, true},
                                         Kind{"plc", make_plc, false, false, true},
                                         Kind{"zw", make_zw, false, false, true},
                                         Kind{"opkg", make_opkg, false, false, false}),
                         [](const testing::TestParamInfo<Kind>& kind) { return kind.param.part; });

}  // namespace
}  // namespace zephran::installer
