// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "support/agent_bench.h"

namespace zephran::test {
namespace {

class HawkbitAgentWaiting : public ::testing::Test, protected AgentBench {
protected:
    static AgentSettings scheduled(std::uint32_t weekdays) {
        AgentSettings settings;
        settings.schedule.emplace();
        settings.schedule->weekdays = weekdays;
        return settings;
    }

    static DeploymentText soft_deployment() {
        DeploymentText text = scripted_deployment(1);
        text.update = "attempt";
        return text;
    }

    void switch_automatic_updates(const std::string& value) {
        platform.config.values["zephran.service.automatic_update"] = value;
    }

    static constexpr std::uint32_t no_day = 0;
    static constexpr std::uint32_t every_day = 0x7F;
};

TEST_F(HawkbitAgentWaiting, SoftDeploymentWaitsForTheSchedule) {
    make_introduced(scheduled(no_day));
    offer(soft_deployment());
    switch_automatic_updates("1");

    run_cycle();
    tick(20);

    EXPECT_TRUE(agent->is_waiting());
    EXPECT_FALSE(agent->is_finished());
    ASSERT_NE(agent->control()->pending_deployment(), nullptr);
    EXPECT_EQ(agent->control()->pending_deployment()->id(), "7");
    EXPECT_FALSE(agent->is_deploying());
}

TEST_F(HawkbitAgentWaiting, SoftDeploymentStartsAtOnceWithoutASchedule) {
    make_introduced();
    offer(soft_deployment());
    switch_automatic_updates("1");

    agent->restart();
    tick(7);

    EXPECT_TRUE(agent->is_deploying());
    EXPECT_EQ(count_logged("action=skipped"), 1U);
}

TEST_F(HawkbitAgentWaiting, ForcedDeploymentIgnoresTheScheduleAndTheUser) {
    make_introduced(scheduled(no_day));
    offer(scripted_deployment(1));
    switch_automatic_updates("0");

    agent->restart();
    tick(5);

    EXPECT_TRUE(agent->is_deploying());
    EXPECT_TRUE(agent->is_finished());
    EXPECT_EQ(agent->control()->pending_deployment(), nullptr);
}

TEST_F(HawkbitAgentWaiting, InterruptedDeploymentIgnoresTheScheduleAndTheUser) {
    DeploymentText text = soft_deployment();
    text.history = {"Installation started", "scripted:a:1"};
    make_introduced(scheduled(no_day));
    offer(text);
    switch_automatic_updates("0");

    agent->restart();
    tick(5);

    EXPECT_TRUE(agent->is_deploying());
}

class HawkbitAgentAcceptance : public HawkbitAgentWaiting,
                               public ::testing::WithParamInterface<const char*> {};

TEST_P(HawkbitAgentAcceptance, StartsTheDeploymentThatWaitsForTheUser) {
    make_introduced(scheduled(every_day));
    offer(soft_deployment());
    switch_automatic_updates("0");
    run_cycle();
    tick(20);
    ASSERT_TRUE(agent->is_waiting());
    ASSERT_FALSE(agent->is_deploying());

    agent->accept_deployment(GetParam());
    tick(1);
    EXPECT_FALSE(agent->is_waiting());
    tick(1);

    EXPECT_TRUE(agent->is_deploying());
}

TEST_P(HawkbitAgentAcceptance, EndsTheWaitForTheSchedule) {
    make_introduced(scheduled(no_day));
    offer(soft_deployment());
    run_cycle();
    tick(5);

    agent->accept_deployment(GetParam());
    tick(2);

    EXPECT_TRUE(agent->is_deploying());
}

TEST_P(HawkbitAgentAcceptance, EndsTheDelay) {
    make_introduced(scheduled(every_day));
    offer(soft_deployment());
    run_cycle();
    tick(20);
    ASSERT_EQ(count_logged("until="), 1U);
    ASSERT_FALSE(agent->is_deploying());

    agent->accept_deployment(GetParam());
    tick(2);

    EXPECT_TRUE(agent->is_deploying());
}

INSTANTIATE_TEST_SUITE_P(Ids, HawkbitAgentAcceptance, ::testing::Values("7", "ANY"));

TEST_F(HawkbitAgentWaiting, AcceptanceOfAnotherDeploymentChangesNothing) {
    make_introduced();
    offer(soft_deployment());
    switch_automatic_updates("0");
    run_cycle();

    agent->accept_deployment("8");
    tick(5);

    EXPECT_TRUE(agent->is_waiting());
    EXPECT_FALSE(agent->is_deploying());
}

TEST_F(HawkbitAgentWaiting, DelaySurvivesARestart) {
    make_introduced(scheduled(every_day));
    offer(soft_deployment());
    run_cycle();
    tick(2);
    ASSERT_EQ(count_logged("until="), 1U);

    now += std::chrono::seconds{30};
    run_cycle();
    tick(2);

    EXPECT_EQ(count_logged("action=reusing delay"), 1U);
    EXPECT_EQ(count_logged("until="), 1U);
    now += std::chrono::hours{48};
    tick(2);
    EXPECT_TRUE(agent->is_deploying());
}

TEST_F(HawkbitAgentWaiting, RestartOfAWaitingAgentSeesThatTheDeploymentWasWithdrawn) {
    make_introduced(scheduled(no_day));
    offer(soft_deployment());
    run_cycle();
    ASSERT_TRUE(agent->is_waiting());

    server.close_deployment();
    run_cycle();

    EXPECT_TRUE(agent->is_finished());
    EXPECT_FALSE(agent->is_waiting());
    EXPECT_EQ(agent->control()->pending_deployment(), nullptr);
}

}  // namespace
}  // namespace zephran::test
