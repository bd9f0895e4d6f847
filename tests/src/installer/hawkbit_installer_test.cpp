// SPDX-License-Identifier: Apache-2.0
#include "installer/hawkbit_installer.h"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/installer_test.h"

namespace zephran {
namespace {

using std::chrono::seconds;
using test::noon;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

using Installer = test::InstallerTest;

TEST_F(Installer, ChecksStartsAsksAndFinishesOneStepATick) {
    tick();
    EXPECT_THAT(installer.calls, IsEmpty());
    tick();
    EXPECT_THAT(installer.calls, ElementsAre("start os"));
    tick();
    EXPECT_THAT(installer.calls, ElementsAre("start os", "finished?"));
    EXPECT_FALSE(installer.is_finished());
    installer.installed = true;
    tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.is_cancelled());
    EXPECT_FALSE(installer.error().has_error);
    EXPECT_THAT(installer.calls, ElementsAre("start os", "finished?", "finished?"));
    tick(3);
    EXPECT_EQ(installer.calls.size(), 3U);
}

TEST_F(Installer, ReportIsKeptForTheServer) {
    EXPECT_EQ(installer.hawkbit_log(), "");

    installer.write_report("one ");
    installer.write_report("two");

    EXPECT_EQ(installer.hawkbit_log(), "one two");
}

TEST_F(Installer, FinishedInstallationIsRecordedWithItsTime) {
    start_installing();
    installer.installed = true;
    time = noon + seconds{61};

    tick();

    EXPECT_THAT(
        platform.config.values,
        UnorderedElementsAre(Pair("zephran.device.version_os", "2.1.0"),
                             Pair("zephran.device.installation_time_os", "2024-03-01T12:01:01Z")));
    EXPECT_EQ(HawkbitInstaller::get_installed_version("os"), "2.1.0");
    EXPECT_EQ(HawkbitInstaller::get_installed_version_time("os"), "2024-03-01T12:01:01Z");
}

TEST_F(Installer, NothingIsRecordedBeforeTheEnd) {
    start_installing();

    tick();

    EXPECT_THAT(platform.config.writes, IsEmpty());
    EXPECT_EQ(HawkbitInstaller::get_installed_version("os"), "");
    EXPECT_EQ(HawkbitInstaller::get_installed_version_time("os"), "");
}

TEST_F(Installer, NothingIsRecordedForADeviceBehindTheGateway) {
    attributes["parent"] = "gateway";
    start_installing();
    installer.installed = true;

    tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_THAT(platform.config.writes, IsEmpty());
}

TEST_F(Installer, NothingIsRecordedByAnInstallerThatKeepsNoVersions) {
    installer.records_version = false;
    start_installing();
    installer.installed = true;

    tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_THAT(platform.config.writes, IsEmpty());
}

TEST_F(Installer, RecordThatCannotBeStoredIsAWarningAndNoFailure) {
    platform.config.read_only = true;
    start_installing();
    installer.installed = true;

    tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.error().has_error);
    const std::string fields =
        " store_installed_version_time: action=store_installed_version_time "
        "message=could not store config entry key=zephran.device.";
    EXPECT_THAT(log.text(),
                AllOf(HasSubstr(" WARNING "), HasSubstr(fields + "version_os value=2.1.0\n"),
                      HasSubstr(fields + "installation_time_os value=2024-03-01T12:00:00Z\n")));
}

class InstallerWithArtifacts
    : public Installer,
      public testing::WithParamInterface<std::pair<std::vector<std::string>, std::string>> {};

TEST_P(InstallerWithArtifacts, RefusesAnyNumberButOne) {
    installer.assign(make_chunk("os", GetParam().first), attributes);

    tick();

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_THAT(installer.calls, IsEmpty());
    EXPECT_EQ(installer.error().error_message, "Found unexpected number of artifacts");
    EXPECT_EQ(installer.error().error_details, GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(NoneAndTwo, InstallerWithArtifacts,
                         testing::Values(std::pair{std::vector<std::string>{},
                                                   "expected_count: 1\nreceived_count: 0"},
                                         std::pair{std::vector<std::string>{"a", "b"},
                                                   "expected_count: 1\nreceived_count: 2"}));

TEST_F(Installer, FailedStartEndsCancelledWithoutACancellation) {
    installer.start_fails = true;

    tick(2);

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Not implemented");
    EXPECT_THAT(installer.calls, ElementsAre("start os"));
    EXPECT_THAT(log.text(), HasSubstr(" exception_caught: event=exception_caught "
                                      "action=fsm_installer_event what=Not implemented\n"));
}

TEST_F(Installer, ResumedInstallationIsOnlyAskedWhetherItHasFinished) {
    installer.assign(make_chunk("os", {"a", "b"}), attributes);
    EXPECT_FALSE(installer.was_resumed());

    installer.resume();
    EXPECT_TRUE(installer.was_resumed());
    EXPECT_THAT(installer.calls, IsEmpty());
    installer.installed = true;
    tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_THAT(installer.calls, ElementsAre("finished?"));
}

TEST_F(Installer, GuardsAndActionsAreLoggedByName) {
    start_installing();
    tick();
    installer.cancel();
    tick();

    for (const char* name :
         {"check_artifact_count", "start_installation", "installation_has_finished",
          "installation_has_timeout", "cancel_installation", "cancellation_has_finished"}) {
        EXPECT_THAT(log.text(), HasSubstr(std::string{": event="} + name + " fsm=0x")) << name;
    }
}

}  // namespace
}  // namespace zephran
