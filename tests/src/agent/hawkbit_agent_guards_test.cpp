// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/agent_bench.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr const char* automatic_update_key = "zephran.service.automatic_update";

class HawkbitAgentGuard : public ::testing::Test, protected AgentBench {
protected:
    bool is_resumed(const std::vector<std::string>& history,
                    const hawkbit::Attributes& attributes = {}) {
        AgentSettings settings;
        settings.attributes = attributes;
        DeploymentText text = scripted_deployment(2);
        text.history = history;
        make_holding(text, settings);
        return agent->is_resumed_deployment();
    }
};

TEST_F(HawkbitAgentGuard, DormantAgentStaysDormant) {
    AgentSettings settings;
    settings.dormant = true;
    make(settings);

    EXPECT_TRUE(agent->is_dormant());
    EXPECT_TRUE(agent->is_dormant());
}

TEST_F(HawkbitAgentGuard, ForcedPollWakesADormantAgentOnce) {
    AgentSettings settings;
    settings.dormant = true;
    make(settings);

    agent->force_poll();
    EXPECT_TRUE(agent->is_poll_forced());
    EXPECT_EQ(agent->next_poll(), now);

    EXPECT_FALSE(agent->is_dormant());
    EXPECT_FALSE(agent->is_poll_forced());
    EXPECT_TRUE(agent->is_dormant());
}

TEST_F(HawkbitAgentGuard, AgentIsNotDormantByDefault) {
    EXPECT_FALSE(make().is_dormant());
}

TEST_F(HawkbitAgentGuard, BackoffHasElapsedOnlyAfterItsEnd) {
    make();
    agent->set_backoff_delay();
    const auto end = agent->next_poll();

    now = end;
    EXPECT_FALSE(agent->is_backoff_delay_elapsed());
    now = end + std::chrono::nanoseconds{1};

    EXPECT_TRUE(agent->is_backoff_delay_elapsed());
}

TEST_F(HawkbitAgentGuard, BackoffEndsWhenTheClockIsSetBackBeforeItsBegin) {
    make();
    agent->set_backoff_delay();
    EXPECT_FALSE(agent->is_backoff_delay_elapsed());

    now -= std::chrono::milliseconds{1};

    EXPECT_TRUE(agent->is_backoff_delay_elapsed());
}

TEST_F(HawkbitAgentGuard, ForcedPollEndsTheBackoffAndIsNotConsumed) {
    make();
    agent->set_backoff_delay();

    EXPECT_FALSE(agent->is_backoff_delay_elapsed());
    agent->force_poll();

    EXPECT_TRUE(agent->is_backoff_delay_elapsed());
    EXPECT_TRUE(agent->is_backoff_delay_elapsed());
    EXPECT_TRUE(agent->is_poll_forced());
}

TEST_F(HawkbitAgentGuard, LinksOfTheControllerResourceAreKnown) {
    make();
    agent->retrieve_controller_status();
    EXPECT_FALSE(agent->is_deployment_action_requested());
    EXPECT_FALSE(agent->is_cancel_action_requested());

    server.offer(scripted_deployment(1));
    server.offer_cancel("3");
    agent->retrieve_controller_status();

    EXPECT_TRUE(agent->is_deployment_action_requested());
    EXPECT_TRUE(agent->is_cancel_action_requested());
}

TEST_F(HawkbitAgentGuard, ConfigDataIsDueAtTheStartAndWhenTheServerAsks) {
    make();
    EXPECT_TRUE(agent->is_new_config_data_required());
    agent->send_config_data();
    EXPECT_FALSE(agent->is_new_config_data_required());

    server.links.config_data = true;
    agent->retrieve_controller_status();
    EXPECT_TRUE(agent->is_new_config_data_required());
    server.links.config_data = false;
    agent->retrieve_controller_status();
    EXPECT_FALSE(agent->is_new_config_data_required());

    agent->set_startup();
    EXPECT_TRUE(agent->is_new_config_data_required());
}

TEST_F(HawkbitAgentGuard, WithoutAScheduleAnyTimeIsInsideAndNoDelayIsLeft) {
    make();

    EXPECT_TRUE(agent->is_inside_update_schedule());
    EXPECT_TRUE(agent->is_deployment_delay_elapsed());
}

TEST_F(HawkbitAgentGuard, ScheduleWithoutDaysIsNeverInside) {
    AgentSettings settings;
    settings.schedule.emplace();
    settings.schedule->weekdays = 0;
    make(settings);

    EXPECT_FALSE(agent->is_inside_update_schedule());
    EXPECT_THAT(log.text(), HasSubstr("event=is_inside_update_schedule inside=0"));
}

TEST_F(HawkbitAgentGuard, AutomaticUpdatesAreDisabledByZeroAlone) {
    make();

    for (const char* const value : {"1", "00", "false", "no"}) {
        platform.config.values[automatic_update_key] = value;
        EXPECT_FALSE(agent->is_automatic_update_disabled()) << value;
    }
    platform.config.values[automatic_update_key] = "0";
    EXPECT_TRUE(agent->is_automatic_update_disabled());

    EXPECT_THAT(platform.config.writes, IsEmpty());
}

TEST_F(HawkbitAgentGuard, MissingOptionForAutomaticUpdatesIsWritten) {
    make();

    EXPECT_FALSE(agent->is_automatic_update_disabled());

    EXPECT_THAT(platform.config.writes, ElementsAre(Pair(automatic_update_key, "1")));
    EXPECT_THAT(log.text(),
                HasSubstr(" is_automatic_update_disabled: event=is_automatic_update_disabled "
                          "message=missing config entry, setting default enabled"));
    EXPECT_EQ(count_logged("could not store config entry"), 0U);
}

TEST_F(HawkbitAgentGuard, OptionThatCannotBeWrittenIsLogged) {
    platform.config.read_only = true;
    make();

    EXPECT_FALSE(agent->is_automatic_update_disabled());

    EXPECT_EQ(count_logged("message=could not store config entry "
                           "key=zephran.service.automatic_update value=1"),
              1U);
}

TEST_F(HawkbitAgentGuard, DeploymentIsResumedAfterTheStartOfAnInstallation) {
    EXPECT_TRUE(is_resumed({"Installation started", "scripted:a:1"}));
    EXPECT_TRUE(is_resumed({"Installation started"}));
    EXPECT_TRUE(is_resumed({"scripted:b:2", "Installation started"}));
}

TEST_F(HawkbitAgentGuard, DeploymentIsNotResumedAfterAnythingElse) {
    EXPECT_FALSE(is_resumed({}));
    EXPECT_FALSE(is_resumed({"Chunk deployed", "scripted:a:1"}));
    EXPECT_FALSE(is_resumed({"Assignment initiated by user 'admin'"}));
    EXPECT_FALSE(is_resumed({"scripted:c:3", "Installation started"}));
    EXPECT_FALSE(is_resumed({"Installation cannot be cancelled", "Installation started"}));
    EXPECT_FALSE(is_resumed({"4"}));
}

TEST_F(HawkbitAgentGuard, DeviceBehindTheGatewayNeverResumes) {
    EXPECT_FALSE(is_resumed({"Installation started", "scripted:a:1"}, {{"parent", "gateway"}}));
}

TEST_F(HawkbitAgentGuard, UnknownMessageAboveAReportIsLoggedOncePerAction) {
    DeploymentText text = scripted_deployment(1);
    text.history = {"Installation cannot be cancelled", "Installation started"};
    make_holding(text);

    EXPECT_FALSE(agent->is_resumed_deployment());
    EXPECT_FALSE(agent->is_resumed_deployment());
    agent->retrieve_deployment_action();
    EXPECT_FALSE(agent->is_resumed_deployment());
    EXPECT_EQ(count_logged("event=is_resumed_deployment message=unknown action message"), 1U);

    text.id = "8";
    server.offer(text);
    agent->retrieve_deployment_action();
    EXPECT_FALSE(agent->is_resumed_deployment());
    EXPECT_EQ(count_logged("event=is_resumed_deployment message=unknown action message"), 2U);
}

TEST_F(HawkbitAgentGuard, UnknownMessageInTheHistoryOfADeviceBehindTheGatewayIsNotLogged) {
    EXPECT_FALSE(is_resumed({"Installation cannot be cancelled", "Installation started"},
                            {{"parent", "gateway"}}));

    EXPECT_EQ(count_logged("unknown action message"), 0U);
}

TEST_F(HawkbitAgentGuard, ServerNotesOfANewActionAreNotUnknownMessages) {
    is_resumed({"Assignment initiated by user 'admin'"});

    EXPECT_EQ(count_logged("unknown action message"), 0U);
}

TEST_F(HawkbitAgentGuard, UserForcesByTheIdOrAnyDeployment) {
    make_holding(scripted_deployment(1));

    EXPECT_FALSE(agent->is_user_forced());
    agent->accept_deployment("77");
    EXPECT_FALSE(agent->is_user_forced());
    agent->accept_deployment("7");
    EXPECT_TRUE(agent->is_user_forced());
    agent->accept_deployment("any");
    EXPECT_FALSE(agent->is_user_forced());
    agent->accept_deployment("ANY");
    EXPECT_TRUE(agent->is_user_forced());
}

TEST_F(HawkbitAgentGuard, EmptyIdIsNotAccepted) {
    DeploymentText text = scripted_deployment(1);
    text.id = "";
    make_holding(text);

    EXPECT_FALSE(agent->is_user_forced());
}

TEST_F(HawkbitAgentGuard, ServerForcesWithItsUpdateHandling) {
    DeploymentText text = scripted_deployment(1);
    make_holding(text);
    EXPECT_TRUE(agent->is_forced_deployment());

    text.update = "attempt";
    server.offer(text);
    agent->retrieve_deployment_action();

    EXPECT_FALSE(agent->is_forced_deployment());
}

TEST_F(HawkbitAgentGuard, ActiveDeploymentIsOneThatHasNotEnded) {
    start_deployment(scripted_deployment(1));
    EXPECT_TRUE(agent->has_active_deployment());

    run_to_end_of_deployment();
    server.offer({"8", {}});
    agent->retrieve_controller_status();

    EXPECT_FALSE(agent->has_active_deployment());
}

}  // namespace
}  // namespace zephran::test
