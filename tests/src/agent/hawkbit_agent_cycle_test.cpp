// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/agent_bench.h"

namespace zephran::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* cancel_without_deployment =
    "cancel 7 closed success: Deployment not running. Nothing to do.";

class HawkbitAgentCycle : public ::testing::Test, protected AgentBench {
protected:
    static AgentSettings dormant() {
        AgentSettings settings;
        settings.dormant = true;
        return settings;
    }

    void make_introduced_dormant() {
        make(dormant());
        agent->force_poll();
        run_to_rest();
        server.exchanges.clear();
    }

    static DeploymentText soft_deployment() {
        DeploymentText text = scripted_deployment(1);
        text.update = "attempt";
        return text;
    }

    void switch_automatic_updates(const std::string& value) {
        platform.config.values["zephran.service.automatic_update"] = value;
    }
};

TEST_F(HawkbitAgentCycle, FirstCycleIntroducesTheAgentAndReadsTheControllerAgain) {
    make();

    tick(ticks_to_config_data);
    EXPECT_THAT(server.exchanges, ElementsAre("status", "config data"));
    run_to_rest();

    EXPECT_THAT(server.exchanges, ElementsAre("status", "config data", "status"));
    EXPECT_TRUE(agent->is_finished());
    EXPECT_FALSE(agent->is_poll_forced());
}

TEST_F(HawkbitAgentCycle, LaterCyclesSendConfigDataOnlyOnRequest) {
    make_introduced();

    run_cycle();
    EXPECT_THAT(server.exchanges, ElementsAre("status"));
    server.links.config_data = true;
    agent->restart();
    tick(3);

    EXPECT_THAT(server.exchanges, ElementsAre("status", "status", "config data"));
}

TEST_F(HawkbitAgentCycle, ConfigDataComesBeforeTheDeployment) {
    make();
    offer(soft_deployment());
    switch_automatic_updates("0");

    run_to_rest();

    EXPECT_THAT(server.exchanges,
                ElementsAre("status", "config data", "status", "fetch deployment"));
}

TEST_F(HawkbitAgentCycle, FinishedAgentRestsUntilItIsRestarted) {
    make_introduced();

    tick(20);
    EXPECT_TRUE(agent->is_finished());
    EXPECT_THAT(server.exchanges, IsEmpty());
    agent->restart();

    EXPECT_FALSE(agent->is_finished());
}

TEST_F(HawkbitAgentCycle, RestartInTheMiddleOfACycleIsIgnored) {
    make();
    tick(2);

    agent->restart();
    tick(2);

    EXPECT_THAT(server.exchanges, ElementsAre("status", "config data"));
}

TEST_F(HawkbitAgentCycle, DormantAgentNeverPollsUnforced) {
    make(dormant());

    run_to_rest();
    run_cycle();

    EXPECT_TRUE(agent->is_finished());
    EXPECT_THAT(server.exchanges, IsEmpty());
}

TEST_F(HawkbitAgentCycle, StatusIsAskedForAtTheTargetsAddress) {
    make();

    run_to_rest();

    EXPECT_EQ(server.status_address, "https://update.example/DEFAULT/controller/v1/gateway");
}

TEST_F(HawkbitAgentCycle, DormantAgentPollsOnceWhenForced) {
    make(dormant());
    run_to_rest();

    agent->force_poll();
    run_cycle();
    EXPECT_THAT(server.exchanges, ElementsAre("status", "config data", "status"));
    run_cycle();

    EXPECT_EQ(server.exchanges.size(), 3U);
}

TEST_F(HawkbitAgentCycle, ForcedPollOfADormantAgentIsOwedUntilAReadSucceeds) {
    make(dormant());
    run_to_rest();
    server.fail(Exchange::fetch_status, 2);

    agent->force_poll();
    agent->restart();
    for (unsigned failures = 1; failures <= 2; ++failures) {
        tick(10);
        EXPECT_EQ(server.exchanges.size(), failures);
        now = agent->next_poll() + std::chrono::milliseconds{1};
    }
    run_to_rest();
    EXPECT_THAT(server.exchanges,
                ElementsAre("failure", "failure", "status", "config data", "status"));
    run_cycle();

    EXPECT_EQ(server.exchanges.size(), 5U);
}

TEST_F(HawkbitAgentCycle, UnreadableControllerResourceLeavesTheForcedPollOwed) {
    make(dormant());
    server.links.deployment = "http://update.example/deploymentBase/7";
    agent->force_poll();
    tick(2);
    ASSERT_EQ(count_logged("event=backoff"), 1U);

    server.close_deployment();
    now = agent->next_poll() + std::chrono::milliseconds{1};
    run_to_rest();

    EXPECT_THAT(server.exchanges, ElementsAre("status", "status", "config data", "status"));
}

TEST_F(HawkbitAgentCycle, DormantAgentReadsAgainWhileItsAttributesAreToBeSent) {
    make(dormant());
    server.fail(Exchange::send_config_data, 2);
    agent->force_poll();
    run_to_rest();
    ASSERT_THAT(server.exchanges, ElementsAre("status", "failure", "failure"));

    run_cycle();
    EXPECT_THAT(server.exchanges,
                ElementsAre("status", "failure", "failure", "status", "config data", "status"));
    run_cycle();

    EXPECT_EQ(server.exchanges.size(), 6U);
}

TEST_F(HawkbitAgentCycle, DormantAgentReadsAgainWhileTheServerLacksItsAttributes) {
    make(dormant());
    agent->force_poll();
    run_to_rest();
    server.exchanges.clear();
    server.links.config_data = true;
    server.fail(Exchange::send_config_data, 2);
    agent->force_poll();
    run_cycle();
    ASSERT_THAT(server.exchanges, ElementsAre("status", "failure", "failure"));

    agent->restart();
    tick(3);

    EXPECT_THAT(server.exchanges,
                ElementsAre("status", "failure", "failure", "status", "config data"));
}

TEST_F(HawkbitAgentCycle, DormantAgentReadsAgainUntilItHasReadItsDeployment) {
    make_introduced_dormant();
    offer(soft_deployment());
    switch_automatic_updates("0");
    server.fail(Exchange::fetch_deployment, 2);
    agent->force_poll();
    run_cycle();
    ASSERT_THAT(server.exchanges, ElementsAre("status", "failure", "failure"));

    run_cycle();
    EXPECT_THAT(server.exchanges,
                ElementsAre("status", "failure", "failure", "status", "fetch deployment"));
    run_cycle();

    EXPECT_EQ(server.exchanges.size(), 5U);
}

TEST_F(HawkbitAgentCycle, DormantAgentReadsAgainUntilItHasReadItsCancelAction) {
    make_introduced_dormant();
    server.offer_cancel("7");
    server.fail(Exchange::fetch_cancel, 2);
    agent->force_poll();
    run_cycle();
    ASSERT_THAT(server.exchanges, ElementsAre("status", "failure", "failure"));

    run_cycle();
    EXPECT_THAT(server.exchanges, ElementsAre("status", "failure", "failure", "status",
                                              "fetch cancel", cancel_without_deployment));
    run_cycle();

    EXPECT_EQ(server.exchanges.size(), 6U);
}

TEST_F(HawkbitAgentCycle, DormantAgentReadsAgainUntilItHasAnsweredACancelAction) {
    make_introduced_dormant();
    server.offer_cancel("7");
    server.fail(Exchange::send_cancel_feedback, 2);
    agent->force_poll();
    run_cycle();
    ASSERT_THAT(server.exchanges, ElementsAre("status", "fetch cancel", "failure", "failure"));

    run_cycle();
    run_cycle();

    EXPECT_THAT(server.exchanges, ElementsAre("status", "fetch cancel", "failure", "failure",
                                              "status", "fetch cancel", cancel_without_deployment));
}

TEST_F(HawkbitAgentCycle, UnreadCancelActionIsOwedAlsoAfterTheDeploymentBesideItWasRead) {
    make_introduced_dormant();
    offer(soft_deployment());
    switch_automatic_updates("0");
    server.offer_cancel("6");
    server.fail(Exchange::fetch_cancel, 2);
    agent->force_poll();
    run_cycle();
    ASSERT_THAT(server.exchanges, ElementsAre("status", "failure", "failure", "fetch deployment"));

    run_cycle();

    EXPECT_THAT(server.exchanges, Contains("fetch cancel"));
}

TEST_F(HawkbitAgentCycle, WithdrawnActionIsNoLongerOwed) {
    make_introduced_dormant();
    offer(soft_deployment());
    server.fail(Exchange::fetch_deployment, 2);
    agent->force_poll();
    run_cycle();
    server.close_deployment();

    run_cycle();
    run_cycle();

    EXPECT_THAT(server.exchanges, ElementsAre("status", "failure", "failure", "status"));
}

TEST_F(HawkbitAgentCycle, FailedConfigDataIsRetriedTwoTicksLater) {
    make();
    server.fail(Exchange::send_config_data, 1);

    tick(ticks_to_config_data + 2);
    EXPECT_THAT(server.exchanges, ElementsAre("status", "failure"));
    tick(1);

    EXPECT_THAT(server.exchanges, ElementsAre("status", "failure", "config data"));
}

TEST_F(HawkbitAgentCycle, ConfigDataThatFailsTwiceEndsTheCycle) {
    make();
    server.fail(Exchange::send_config_data, 2);

    run_to_rest();

    EXPECT_TRUE(agent->is_finished());
    EXPECT_THAT(server.exchanges, ElementsAre("status", "failure", "failure"));
}

TEST_F(HawkbitAgentCycle, FailedPollBacksOffAndIsRepeatedUntilItSucceeds) {
    make();
    server.fail(Exchange::fetch_status, 3);

    for (unsigned failures = 1; failures <= 3; ++failures) {
        tick(10);
        EXPECT_EQ(server.exchanges.size(), failures);
        EXPECT_EQ(count_logged("event=backoff"), failures);
        now = agent->next_poll() + std::chrono::milliseconds{1};
    }
    run_to_rest();

    EXPECT_THAT(server.exchanges,
                ElementsAre("failure", "failure", "failure", "status", "config data", "status"));
}

TEST_F(HawkbitAgentCycle, FirstBackoffIsAtMostTenMinutesAndDiffersBetweenAgents) {
    std::set<HawkbitAgent::time_point> ends;
    for (unsigned agents = 0; agents < 200; ++agents) {
        make().set_backoff_delay();
        ends.insert(agent->next_poll());
    }

    EXPECT_GT(ends.size(), 100U);
    EXPECT_LE(*ends.rbegin(), now + std::chrono::minutes{10});
    EXPECT_GT(*ends.rbegin(), now + std::chrono::minutes{9});
}

TEST_F(HawkbitAgentCycle, LongestBackoffIsADay) {
    make();
    HawkbitAgent::time_point latest{};
    for (unsigned failures = 0; failures < 200; ++failures) {
        agent->set_backoff_delay();
        latest = std::max(latest, agent->next_poll());
    }

    EXPECT_LE(latest, now + std::chrono::hours{24});
    EXPECT_GT(latest, now + std::chrono::hours{22});
}

TEST_F(HawkbitAgentCycle, BackoffBeginsAnewAfterASuccessfulRead) {
    make();
    for (unsigned reads = 0; reads < 5; ++reads) {
        for (unsigned failures = 0; failures < 20; ++failures) {
            agent->set_backoff_delay();
        }

        agent->retrieve_controller_status();
        agent->set_backoff_delay();

        EXPECT_LE(agent->next_poll(), now + std::chrono::minutes{10});
    }
}

TEST_F(HawkbitAgentCycle, ForcedPollEndsTheBackoff) {
    make();
    server.fail(Exchange::fetch_status, 1);
    tick(2);

    tick(5);
    EXPECT_THAT(server.exchanges, ElementsAre("failure"));
    agent->force_poll();
    tick(2);

    EXPECT_THAT(server.exchanges, ElementsAre("failure", "status"));
}

TEST_F(HawkbitAgentCycle, InsecureLinkBacksOff) {
    make();
    server.links.deployment = "http://update.example/deploymentBase/7";

    tick(2);

    EXPECT_THAT(log.text(), HasSubstr("Server supplied insecure URL"));
    EXPECT_EQ(count_logged("event=backoff"), 1U);
}

TEST_F(HawkbitAgentCycle, DeploymentThatCannotBeFetchedEndsTheCycle) {
    make_introduced();
    offer(scripted_deployment(1));
    server.fail(Exchange::fetch_deployment, 2);

    run_cycle();

    EXPECT_TRUE(agent->is_finished());
    EXPECT_THAT(server.exchanges, ElementsAre("status", "failure", "failure"));
    EXPECT_FALSE(agent->is_deploying());
}

}  // namespace
}  // namespace zephran::test
