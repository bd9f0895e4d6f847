// SPDX-License-Identifier: Apache-2.0
#include "agent/agent_control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/agent_bench.h"
#include "support/message_builder.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

TEST(AgentControl, IsEmptyAtFirst) {
    const AgentControl control;

    EXPECT_THAT(*control.attributes(), IsEmpty());
    EXPECT_EQ(control.last_poll(), AgentControl::time_point{});
    EXPECT_EQ(control.pending_deployment(), nullptr);
    EXPECT_EQ(control.accepted_deployment(), "");
    EXPECT_FALSE(control.is_poll_forced());
}

TEST(AgentControl, ForcedPollIsTakenOnce) {
    AgentControl control;

    control.force_poll();
    control.force_poll();

    EXPECT_TRUE(control.is_poll_forced());
    EXPECT_TRUE(control.take_forced_poll());
    EXPECT_FALSE(control.take_forced_poll());
}

TEST(AgentControl, PendingDeploymentStaysReadableAfterItWasDropped) {
    AgentControl control;
    DeploymentText text;
    text.id = "42";
    control.set_pending_deployment(deployment_from(text));

    const auto pending = control.pending_deployment();
    control.drop_pending_deployment();

    EXPECT_EQ(pending->id(), "42");
    EXPECT_EQ(control.pending_deployment(), nullptr);
}

class ControlOfAnAgent : public ::testing::Test, protected AgentBench {
protected:
    static DeploymentText soft_deployment() {
        DeploymentText text = scripted_deployment(1);
        text.update = "attempt";
        return text;
    }
};

TEST_F(ControlOfAnAgent, ShowsTheAttributesSentToTheServer) {
    AgentSettings settings;
    settings.attributes = {{"model", "x"}};

    make(settings);

    EXPECT_THAT(*agent->control()->attributes(), ElementsAre(Pair("model", "x")));
}

TEST_F(ControlOfAnAgent, OutlivesItsAgent) {
    make();
    const auto control = agent->control();

    agent.reset();
    control->force_poll();
    control->accept_deployment("7");

    EXPECT_TRUE(control->is_poll_forced());
    EXPECT_EQ(control->accepted_deployment(), "7");
}

TEST_F(ControlOfAnAgent, ForcedPollReachesADormantAgent) {
    AgentSettings settings;
    settings.dormant = true;
    make(settings);
    run_to_rest();

    agent->control()->force_poll();
    EXPECT_TRUE(agent->is_poll_forced());
    run_cycle();

    EXPECT_FALSE(server.exchanges.empty());
}

TEST_F(ControlOfAnAgent, AcceptedDeploymentStartsThoughAutomaticUpdatesAreOff) {
    platform.config.values["zephran.service.automatic_update"] = "0";
    make_introduced();
    offer(soft_deployment());
    run_cycle();
    ASSERT_TRUE(agent->is_waiting());

    const auto pending = agent->control()->pending_deployment();
    agent->control()->accept_deployment(pending->id());
    tick(3);

    EXPECT_TRUE(agent->is_deploying());
    EXPECT_EQ(agent->control()->pending_deployment(), nullptr);
}

TEST_F(ControlOfAnAgent, AcceptanceOfAnotherDeploymentStartsNothing) {
    platform.config.values["zephran.service.automatic_update"] = "0";
    make_introduced();
    offer(soft_deployment());
    run_cycle();

    agent->control()->accept_deployment("another");
    tick(3);

    EXPECT_FALSE(agent->is_deploying());
    EXPECT_TRUE(agent->is_waiting());
}

}  // namespace
}  // namespace zephran::test
