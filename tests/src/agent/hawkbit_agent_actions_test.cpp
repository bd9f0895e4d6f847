// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "http/exceptions.h"
#include "support/agent_bench.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;

class HawkbitAgentAction : public ::testing::Test, protected AgentBench {
protected:
    static AgentSettings always_open() {
        AgentSettings settings;
        settings.schedule.emplace();
        return settings;
    }

    /// The delay that was logged last.
    [[nodiscard]] std::chrono::minutes logged_delay() const {
        const std::string key = "delay_mins=";
        const std::string logged = log.text();
        const auto at = logged.rfind(key);
        EXPECT_NE(at, std::string::npos);
        return std::chrono::minutes{std::stol(logged.substr(at + key.size()))};
    }
};

TEST_F(HawkbitAgentAction, StatusSetsTheNextPollToTheServersInterval) {
    server.sleep = "01:02:03";
    make();

    agent->retrieve_controller_status();

    EXPECT_EQ(agent->next_poll(), now + std::chrono::seconds{3723});
}

TEST_F(HawkbitAgentAction, EntryOfACycleSetsTheNextPollInTenMinutes) {
    make();

    agent->enter_retrieving_controller_status();

    EXPECT_EQ(agent->next_poll(), now + std::chrono::seconds{600});
}

TEST_F(HawkbitAgentAction, EntryOfACycleDiscardsTheDeploymentThatWasNotStarted) {
    make();
    server.offer(scripted_deployment(1));
    agent->retrieve_deployment_action();
    ASSERT_NE(agent->control()->pending_deployment(), nullptr);

    agent->enter_retrieving_controller_status();

    EXPECT_EQ(agent->control()->pending_deployment(), nullptr);
}

DeploymentText with_one_note_too_many(const std::string& id) {
    DeploymentText text = scripted_deployment(1);
    text.id = id;
    text.chunks.front().metadata.resize(hawkbit::DeploymentActionMessage::most_notes + 1);
    return text;
}

TEST_F(HawkbitAgentAction, MetadataThatAreLeftOutAreLoggedOncePerDeployment) {
    AgentSettings settings;
    settings.are_notes_told = true;
    make(settings);

    server.offer(with_one_note_too_many("7"));
    agent->retrieve_deployment_action();
    agent->retrieve_deployment_action();
    server.offer(with_one_note_too_many("8"));
    agent->retrieve_deployment_action();

    EXPECT_EQ(count_logged("event=metadata_left_out action_id=7 entries=1"), 1U);
    EXPECT_EQ(count_logged("event=metadata_left_out action_id=8 entries=1"), 1U);
}

TEST_F(HawkbitAgentAction, MetadataThatNobodyIsToldOfAreNotLogged) {
    make();
    server.offer(with_one_note_too_many("7"));

    agent->retrieve_deployment_action();

    EXPECT_EQ(count_logged("metadata"), 0U);
}

TEST_F(HawkbitAgentAction, LastPollIsTheAnswerWithoutADeploymentOrTheFetchOfOne) {
    make();
    const auto first = now;
    agent->retrieve_controller_status();
    EXPECT_EQ(agent->control()->last_poll(), first);

    now += std::chrono::minutes{5};
    server.offer(scripted_deployment(1));
    agent->retrieve_controller_status();
    EXPECT_EQ(agent->control()->last_poll(), first);
    agent->retrieve_deployment_action();

    EXPECT_EQ(agent->control()->last_poll(), now);
}

TEST_F(HawkbitAgentAction, LastPollIsZeroBeforeTheFirst) {
    EXPECT_EQ(make().control()->last_poll(), HawkbitAgent::time_point{});
}

TEST_F(HawkbitAgentAction, ConfigDataHoldsTheAttributesAndForcesAPoll) {
    AgentSettings settings;
    settings.attributes = {{"dormant", "0"}, {"serial", "4711"}};
    make(settings);

    agent->send_config_data();

    ASSERT_EQ(server.config_data.size(), 1U);
    EXPECT_THAT(server.config_data[0].data,
                ElementsAre(Pair("dormant", "0"), Pair("serial", "4711")));
    EXPECT_EQ(server.config_data[0].time, 1'700'000'000);
    EXPECT_TRUE(agent->is_poll_forced());
}

TEST_F(HawkbitAgentAction, ConfigDataThatIsNotTakenStaysDue) {
    make();
    server.fail(Exchange::send_config_data, 1);

    EXPECT_THROW(agent->send_config_data(), http::HttpErrorCodeException);

    EXPECT_TRUE(agent->is_new_config_data_required());
    EXPECT_FALSE(agent->is_poll_forced());
}

TEST_F(HawkbitAgentAction, AttributesAreCleanedAndThatIsLoggedOncePerAgent) {
    AgentSettings settings;
    settings.attributes = {{"na\xC3\xBCme", "v"},
                           {"value",
                            "gr\xC3\xBC\xC3\x9F"
                            "e"}};
    make(settings);

    agent->send_config_data();
    agent->send_config_data();

    ASSERT_EQ(server.config_data.size(), 2U);
    EXPECT_THAT(server.config_data[1].data,
                ElementsAre(Pair("na?me", "v"), Pair("value", "gr??e")));
    EXPECT_EQ(count_logged("action=send_config_data message=key changed key=na\xC3\xBCme"), 1U);
    EXPECT_EQ(count_logged("action=send_config_data message=value changed key=value"), 1U);
}

TEST_F(HawkbitAgentAction, AttributesOfTheAgentItselfStayAsTheyAre) {
    AgentSettings settings;
    settings.attributes = {{"value", "\xC3\xBC"}};
    make(settings);

    agent->send_config_data();

    EXPECT_THAT(agent->attributes(), ElementsAre(Pair("value", "\xC3\xBC")));
}

TEST_F(HawkbitAgentAction, NoDelayIsPickedWithoutASchedule) {
    make();

    agent->pick_deployment_delay();

    EXPECT_THAT(log.text(), HasSubstr("event=pick_deployment_delay action=skipped"));
    EXPECT_EQ(count_logged("until="), 0U);
    EXPECT_EQ(count_logged("reusing delay"), 0U);
}

TEST_F(HawkbitAgentAction, DelayHasElapsedOnlyAfterItsEnd) {
    make(always_open());

    agent->pick_deployment_delay();
    const auto delay = logged_delay();
    ASSERT_GT(delay.count(), 1);

    EXPECT_FALSE(agent->is_deployment_delay_elapsed());
    now += delay;
    EXPECT_FALSE(agent->is_deployment_delay_elapsed());
    now += std::chrono::nanoseconds{1};
    EXPECT_TRUE(agent->is_deployment_delay_elapsed());
}

TEST_F(HawkbitAgentAction, DelayThatRunsIsKept) {
    make(always_open());
    agent->pick_deployment_delay();
    const auto delay = logged_delay();
    const auto end = now + delay;

    now += std::chrono::seconds{61};
    agent->pick_deployment_delay();

    EXPECT_THAT(log.text(), HasSubstr("event=pick_deployment_delay action=reusing delay"));
    EXPECT_EQ(logged_delay(), delay - std::chrono::minutes{2});
    now = end + std::chrono::nanoseconds{1};
    EXPECT_TRUE(agent->is_deployment_delay_elapsed());
}

TEST_F(HawkbitAgentAction, DelayThatHasEndedIsReplacedByAnother) {
    make(always_open());
    agent->pick_deployment_delay();

    now += logged_delay();
    agent->pick_deployment_delay();

    EXPECT_EQ(count_logged("reusing delay"), 0U);
    EXPECT_EQ(count_logged("until="), 2U);
}

TEST_F(HawkbitAgentAction, AcceptanceOfAnyDeploymentIsSpentOnOne) {
    make();
    offer(scripted_deployment(1));
    agent->accept_deployment("ANY");
    agent->retrieve_deployment_action();

    agent->start_deployment_action();
    EXPECT_TRUE(agent->is_deploying());
    EXPECT_EQ(agent->control()->accepted_deployment(), "");
    agent->retrieve_deployment_action();

    EXPECT_FALSE(agent->is_user_forced());
}

TEST_F(HawkbitAgentAction, AcceptanceOfOneDeploymentStays) {
    make();
    offer(scripted_deployment(1));
    agent->accept_deployment("7");
    agent->retrieve_deployment_action();

    agent->start_deployment_action();
    agent->retrieve_deployment_action();

    EXPECT_TRUE(agent->is_user_forced());
}

TEST_F(HawkbitAgentAction, SecondDeploymentIsRefusedAndTheFirstGoesOn) {
    start_deployment(scripted_deployment(1));
    server.offer({"8", {}});
    agent->retrieve_deployment_action();

    EXPECT_THROW(agent->start_deployment_action(), DeploymentInProgressException);
    EXPECT_STREQ(DeploymentInProgressException{}.what(), "A deployment is already in progress");

    ASSERT_NE(agent->control()->pending_deployment(), nullptr);
    EXPECT_EQ(agent->control()->pending_deployment()->id(), "8");
    run_to_end_of_deployment();
    EXPECT_EQ(server.exchanges.back(), "deployment 7 closed success 1/1: Deployment successful");
}

TEST_F(HawkbitAgentAction, WithdrawalWithoutADeploymentDoesNothing) {
    make();

    agent->abort_deployment_action();

    EXPECT_EQ(count_logged("abort_deployment_action"), 0U);
    EXPECT_FALSE(agent->is_aborted());
}

TEST_F(HawkbitAgentAction, BackoffIsLoggedAndMovesTheNextPoll) {
    make();

    agent->set_backoff_delay();

    EXPECT_GE(agent->next_poll(), now);
    EXPECT_LE(agent->next_poll(), now + std::chrono::hours{24});
    EXPECT_EQ(count_logged("event=backoff delay="), 1U);
}

}  // namespace
}  // namespace zephran::test
