// SPDX-License-Identifier: Apache-2.0
#include "agent_manager.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/fake_platform.h"

namespace zephran::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;

constexpr const char* rebooted_key = "zephran.service.rebooted";

class TestManager : public AgentManager {
public:
    TestManager() : AgentManager{[] {}} {}

    HawkbitAgent& agent(const std::string& id) const { return *get_agents().at(id); }
    void spawn_dormant(const std::string& id) {
        hawkbit::Attributes properties;
        spawn_agent(id, properties, {}, true);
    }
    using AgentManager::controls;

protected:
    void run_setup() override {}
};

/// Dormant agents come to rest without any network.
class AgentManagerStep : public ::testing::Test {
protected:
    static AgentManagerSettings settings(bool dormant) {
        AgentManagerSettings settings;
        settings.gateway_id = "gateway";
        settings.server = "update.example";
        settings.dormant = dormant;
        return settings;
    }

    void configure(bool dormant = true) { manager.configure(settings(dormant)); }

    void bring_to_rest() {
        manager.tick_agents();
        manager.tick_agents();
    }

    [[nodiscard]] std::vector<std::string> ids() const {
        std::vector<std::string> found;
        for (const auto& agent : manager.get_agents()) {
            found.push_back(agent.first);
        }
        return found;
    }

    CapturedLog log;
    FakePlatform platform;
    TestManager manager;
};

TEST_F(AgentManagerStep, GatewayAgentIsSpawnedOnce) {
    configure();

    manager.spawn_gateway_agent();
    const HawkbitAgent* const first = &manager.agent("gateway");
    manager.spawn_gateway_agent();

    EXPECT_THAT(ids(), ElementsAre("gateway"));
    EXPECT_EQ(&manager.agent("gateway"), first);
    EXPECT_EQ(manager.gateway_id(), "gateway");
}

TEST_F(AgentManagerStep, GatewayReportsItsPropertiesAndAnEmptyFlashType) {
    AgentManagerSettings with_properties = settings(true);
    with_properties.properties = {{"dormant", "1"}};
    manager.configure(with_properties);

    manager.spawn_gateway_agent();

    EXPECT_THAT(manager.agent("gateway").attributes(),
                ElementsAre(Pair("dormant", "1"), Pair("installed_flash_type", "")));
}

TEST_F(AgentManagerStep, GatewayThatIsThereIsNotPreparedAgain) {
    configure();
    manager.spawn_gateway_agent();
    platform.config.values[rebooted_key] = "1";

    manager.spawn_gateway_agent();

    EXPECT_FALSE(manager.agent("gateway").is_poll_forced());
    EXPECT_EQ(platform.config.values[rebooted_key], "1");
}

TEST_F(AgentManagerStep, InstallersOfTheGatewayKnowItsFlash) {
    AgentManagerSettings with_flash = settings(true);
    with_flash.properties["installed_flash_type"] = "nand";
    with_flash.bootloader_mtd = "mtd1";
    manager.configure(with_flash);

    manager.spawn_gateway_agent();

    const InstallerContext context = manager.gateway_context();
    EXPECT_EQ(context.installed_flash_type, "nand");
    EXPECT_EQ(context.bootloader_mtd, "mtd1");
    EXPECT_EQ(context.mtd_write_attempts, 100U);
    EXPECT_THAT(context.accepted_parts, IsEmpty());
}

TEST_F(AgentManagerStep, GivenFlashTypeIsKept) {
    AgentManagerSettings with_properties = settings(true);
    with_properties.properties = {{"installed_flash_type", "nand"}};
    manager.configure(with_properties);

    manager.spawn_gateway_agent();

    EXPECT_THAT(manager.agent("gateway").attributes(),
                ElementsAre(Pair("installed_flash_type", "nand")));
}

TEST_F(AgentManagerStep, DeviceReportsItsGateway) {
    configure();
    hawkbit::Attributes properties{{"model", "x"}};

    manager.spawn_agent("device", properties, {}, true);

    EXPECT_THAT(properties, ElementsAre(Pair("model", "x"), Pair("parent", "gateway")));
    EXPECT_EQ(manager.agent("device").attributes(), properties);
}

TEST_F(AgentManagerStep, ExistingAgentIsLeftUnchanged) {
    configure();
    hawkbit::Attributes properties{{"model", "x"}};
    manager.spawn_agent("device", properties, {}, true);
    const HawkbitAgent* const first = &manager.agent("device");

    hawkbit::Attributes others{{"model", "y"}};
    manager.spawn_agent("device", others, {}, false);

    EXPECT_EQ(&manager.agent("device"), first);
    EXPECT_EQ(manager.agent("device").attributes().at("model"), "x");
}

TEST_F(AgentManagerStep, DormantGatewayPollsAfterARebootByAnInstaller) {
    platform.config.values[rebooted_key] = "1";
    configure(true);

    manager.spawn_gateway_agent();

    EXPECT_TRUE(manager.agent("gateway").is_poll_forced());
    EXPECT_THAT(platform.config.writes, ElementsAre(Pair(rebooted_key, "0")));
    EXPECT_THAT(log.text(), HasSubstr("spawn_gateway_agent: action=spawn_gateway_agent "
                                      "message=forcing poll after installer reboot"));
}

TEST_F(AgentManagerStep, OnlyTheValueOneMeansAReboot) {
    for (const char* const value : {"true", "0", "11", "yes"}) {
        platform.config.values[rebooted_key] = value;
        TestManager fresh;
        fresh.configure(settings(true));

        fresh.spawn_gateway_agent();

        EXPECT_FALSE(fresh.agent("gateway").is_poll_forced()) << value;
    }
    EXPECT_THAT(platform.config.writes, IsEmpty());
}

TEST_F(AgentManagerStep, AbsentRebootOptionForcesNothing) {
    configure(true);

    manager.spawn_gateway_agent();

    EXPECT_FALSE(manager.agent("gateway").is_poll_forced());
    EXPECT_THAT(platform.config.writes, IsEmpty());
    EXPECT_THAT(log.text(), Not(HasSubstr("WARNING")));
}

TEST_F(AgentManagerStep, RebootOptionIsIgnoredUnlessTheGatewayIsDormant) {
    platform.config.values[rebooted_key] = "1";
    configure(false);

    manager.spawn_gateway_agent();

    EXPECT_FALSE(manager.agent("gateway").is_poll_forced());
    EXPECT_THAT(platform.config.reads(), Not(Contains(rebooted_key)));
    EXPECT_THAT(platform.config.writes, IsEmpty());
    EXPECT_EQ(platform.config.values[rebooted_key], "1");
}

TEST_F(AgentManagerStep, RebootOptionThatCannotBeResetIsLoggedAndStillForcesThePoll) {
    platform.config.values[rebooted_key] = "1";
    platform.config.read_only_keys.insert(rebooted_key);
    configure(true);

    manager.spawn_gateway_agent();

    EXPECT_TRUE(manager.agent("gateway").is_poll_forced());
    EXPECT_THAT(log.text(), HasSubstr(" spawn_gateway_agent: action=spawn_gateway_agent "
                                      "message=could not store config entry"));
}

TEST_F(AgentManagerStep, EveryAgentIsTicked) {
    configure();
    manager.spawn_gateway_agent();
    manager.spawn_dormant("device");

    bring_to_rest();

    EXPECT_TRUE(manager.agent("gateway").is_finished());
    EXPECT_TRUE(manager.agent("device").is_finished());
}

TEST_F(AgentManagerStep, FinishedAgentsAreOnlyRemovedAtShutdown) {
    configure();
    manager.spawn_dormant("resting");
    bring_to_rest();
    manager.spawn_dormant("busy");

    manager.remove_aborted_agents();
    EXPECT_THAT(ids(), ElementsAre("busy", "resting"));
    manager.remove_finished_agents();

    EXPECT_THAT(ids(), ElementsAre("busy"));
}

TEST_F(AgentManagerStep, AbortedAgentIsRemovedOnceItIsAtRest) {
    configure();
    manager.spawn_dormant("device");
    manager.spawn_dormant("other");

    manager.abort_agent("device");
    manager.remove_aborted_agents();
    EXPECT_THAT(ids(), ElementsAre("device", "other"));
    bring_to_rest();
    manager.remove_aborted_agents();

    EXPECT_THAT(ids(), ElementsAre("other"));
}

TEST_F(AgentManagerStep, AbortedAgentThatIsAskedForAgainLivesOn) {
    configure();
    manager.spawn_dormant("device");
    const HawkbitAgent* const first = &manager.agent("device");
    manager.abort_agent("device");

    manager.spawn_dormant("device");
    bring_to_rest();
    manager.remove_aborted_agents();

    EXPECT_THAT(ids(), ElementsAre("device"));
    EXPECT_EQ(&manager.agent("device"), first);
    EXPECT_FALSE(first->is_aborted());
}

TEST_F(AgentManagerStep, OnlyAnAbortedAgentThatIsAskedForAgainTakesNewAttributes) {
    configure();
    hawkbit::Attributes old{{"device_name", "old"}};
    hawkbit::Attributes other{{"device_name", "other"}};
    hawkbit::Attributes returned{{"device_name", "returned"}};
    manager.spawn_agent("device", old, {}, true);

    manager.spawn_agent("device", other, {}, true);
    EXPECT_THAT(manager.agent("device").attributes(), Contains(Pair("device_name", "old")));
    manager.abort_agent("device");
    manager.spawn_agent("device", returned, {}, true);

    EXPECT_THAT(manager.agent("device").attributes(),
                ElementsAre(Pair("device_name", "returned"), Pair("parent", "gateway")));
}

TEST_F(AgentManagerStep, AbortOfAnUnknownAgentIsIgnored) {
    configure();
    manager.spawn_dormant("device");

    manager.abort_agent("nobody");

    EXPECT_FALSE(manager.agent("device").is_aborted());
}

TEST_F(AgentManagerStep, AllAgentsAreAborted) {
    configure();
    manager.spawn_dormant("a");
    manager.spawn_dormant("b");

    manager.abort_agents();

    EXPECT_TRUE(manager.agent("a").is_aborted());
    EXPECT_TRUE(manager.agent("b").is_aborted());
    EXPECT_THAT(log.text(), HasSubstr("abort_agents: event=abort_agents"));
}

TEST_F(AgentManagerStep, AgentThatIsNotDueStaysFinished) {
    configure();
    manager.spawn_dormant("device");
    bring_to_rest();

    manager.restart_due_agents();

    EXPECT_TRUE(manager.agent("device").is_finished());
}

TEST_F(AgentManagerStep, ForcedPollRestartsAFinishedAgent) {
    configure();
    manager.spawn_dormant("device");
    manager.spawn_dormant("other");
    bring_to_rest();

    manager.agent("device").force_poll();
    manager.restart_due_agents();

    EXPECT_FALSE(manager.agent("device").is_finished());
    EXPECT_TRUE(manager.agent("other").is_finished());
}

TEST_F(AgentManagerStep, ForcedPollDoesNotRestartABusyAgent) {
    configure();
    manager.spawn_dormant("device");
    manager.tick_agents();

    manager.agent("device").force_poll();
    manager.restart_due_agents();

    EXPECT_TRUE(manager.agent("device").is_poll_forced());
    EXPECT_FALSE(manager.agent("device").is_finished());
}

TEST_F(AgentManagerStep, ControlsOfAllAgentsArePublished) {
    configure();
    EXPECT_THAT(*manager.controls(), IsEmpty());

    manager.spawn_gateway_agent();
    manager.spawn_dormant("device");

    EXPECT_THAT(*manager.controls(),
                ElementsAre(Pair("device", manager.agent("device").control()),
                            Pair("gateway", manager.agent("gateway").control())));
}

TEST_F(AgentManagerStep, ControlOfARemovedAgentIsWithdrawnButStaysUsable) {
    configure();
    manager.spawn_dormant("device");
    manager.spawn_dormant("other");
    const auto before = manager.controls();

    manager.abort_agent("device");
    bring_to_rest();
    manager.remove_aborted_agents();
    before->at("device")->force_poll();

    EXPECT_EQ(manager.controls()->count("device"), 0U);
    EXPECT_TRUE(before->at("device")->is_poll_forced());
    manager.remove_finished_agents();
    EXPECT_THAT(*manager.controls(), IsEmpty());
}

TEST_F(AgentManagerStep, PollForcedThroughTheControlRestartsAFinishedAgent) {
    configure();
    manager.spawn_dormant("device");
    bring_to_rest();

    manager.controls()->at("device")->force_poll();
    manager.restart_due_agents();

    EXPECT_FALSE(manager.agent("device").is_finished());
}

}  // namespace
}  // namespace zephran::test
