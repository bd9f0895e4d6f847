// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent_manager.h"
#include "support/recording_observer.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

class ObservedManager : public AgentManager {
public:
    explicit ObservedManager(std::shared_ptr<StatusObserver> observer)
        : AgentManager{[] {}, std::move(observer)} {}

    using AgentManager::is_bus_extended;

protected:
    void run_setup() override {}
};

/// What a manager gives its agents.
class SettingsOfAgents : public ::testing::Test {
protected:
    SettingsOfAgents() { settings.gateway_id = "gateway"; }

    [[nodiscard]] AgentSettings given_to(const std::string& id, bool dormant = false) {
        manager.configure(settings);
        return manager.settings_for(id, {{"model", "x"}}, context, dormant);
    }

    InstallerContext context;
    AgentManagerSettings settings;
    std::shared_ptr<RecordingObserver> observer = std::make_shared<RecordingObserver>();
    ObservedManager manager{observer};
};

TEST_F(SettingsOfAgents, AreThoseOfAnUnconfiguredDaemonByDefault) {
    const AgentSettings given = given_to("gateway");

    EXPECT_FALSE(given.dormant);
    EXPECT_FALSE(given.schedule);
    EXPECT_TRUE(given.context.download_folder.is_shared());
    EXPECT_FALSE(given.downloads.runs_beside_main_loop());
    EXPECT_FALSE(given.reports.codes);
    EXPECT_FALSE(given.may_be_postponed);
    EXPECT_EQ(given.status_observer, nullptr);
}

TEST_F(SettingsOfAgents, DecideWhetherTheBusIsExtended) {
    EXPECT_FALSE(manager.is_bus_extended());

    settings.bus_extended = true;
    manager.configure(settings);

    EXPECT_TRUE(manager.is_bus_extended());
}

TEST_F(SettingsOfAgents, ContainWhatIsKnownOfTheTarget) {
    context.accepted_parts = {"plc"};
    context.bootloader_mtd = "mtd1";

    const AgentSettings given = given_to("device", true);

    EXPECT_THAT(given.context.accepted_parts, ElementsAre("plc"));
    EXPECT_EQ(given.context.bootloader_mtd, "mtd1");
    EXPECT_THAT(given.attributes, ElementsAre(Pair("model", "x")));
    EXPECT_TRUE(given.dormant);
}

TEST_F(SettingsOfAgents, ContainTheWindowOfTheGateway) {
    settings.schedule.emplace().set_hours(2, 5);

    const AgentSettings given = given_to("device");

    ASSERT_TRUE(given.schedule);
    EXPECT_EQ(given.schedule->get_start_hour(), 2);
}

TEST_F(SettingsOfAgents, ContainTheOptionsOfTheDaemon) {
    settings.downloads.attempts = 7;
    settings.reports.codes = true;
    settings.options.chunk_order = ChunkOrder::name;
    settings.options.installation.strict_records = true;

    const AgentSettings given = given_to("device");

    EXPECT_EQ(given.downloads.attempts, 7U);
    EXPECT_TRUE(given.reports.codes);
    EXPECT_EQ(given.options.chunk_order, ChunkOrder::name);
    EXPECT_TRUE(given.options.installation.strict_records);
    EXPECT_TRUE(given.context.options.strict_records);
}

TEST_F(SettingsOfAgents, NameAFolderForEachTargetInTheDownloadDirectory) {
    settings.download_directory = "/overlay/downloads";

    const std::string gateways = given_to("gateway").context.download_folder.prefix();
    const std::string devices = given_to("device").context.download_folder.prefix();

    EXPECT_THAT(gateways, ::testing::StartsWith("/overlay/downloads/"));
    EXPECT_THAT(devices, ::testing::StartsWith("/overlay/downloads/"));
    EXPECT_NE(gateways, devices);
}

TEST_F(SettingsOfAgents, LetLocalSoftwareFollowAndPostponeTheGatewayOnly) {
    settings.bus_extended = true;

    EXPECT_TRUE(given_to("gateway").may_be_postponed);
    EXPECT_EQ(given_to("gateway").status_observer, observer);
    EXPECT_FALSE(given_to("device").may_be_postponed);
    EXPECT_EQ(given_to("device").status_observer, nullptr);
}

}  // namespace
}  // namespace zephran::test
