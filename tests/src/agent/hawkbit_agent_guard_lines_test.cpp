// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/agent_bench.h"

namespace zephran::test {
namespace {

using ::testing::ContainsRegex;

/// What a guard logs, with its level, its function and its field.
class HawkbitAgentGuardLine : public ::testing::Test, protected AgentBench {
protected:
    void expect_line(const std::string& level, const std::string& guard,
                     const std::string& fields) {
        EXPECT_THAT(log.text(), ContainsRegex(" " + level + " hawkbit_agent_guards.cpp:[0-9]+ " +
                                              guard + ": event=" + guard + " " + fields + "\n"));
    }
};

TEST_F(HawkbitAgentGuardLine, TellsWhetherTheAgentIsDormant) {
    AgentSettings settings;
    settings.dormant = true;
    make(settings);

    EXPECT_TRUE(agent->is_dormant());
    expect_line("INFO", "is_dormant", "status=1");
    agent->force_poll();
    EXPECT_FALSE(agent->is_dormant());
    expect_line("INFO", "is_dormant", "status=0");
}

TEST_F(HawkbitAgentGuardLine, TellsWhetherTheBackoffHasElapsed) {
    make();
    agent->set_backoff_delay();

    EXPECT_FALSE(agent->is_backoff_delay_elapsed());
    expect_line("INFO", "is_backoff_delay_elapsed", "status=0");
    agent->force_poll();
    EXPECT_TRUE(agent->is_backoff_delay_elapsed());
    expect_line("INFO", "is_backoff_delay_elapsed", "status=1");
}

TEST_F(HawkbitAgentGuardLine, TellsWhatTheServerAsksFor) {
    make();
    for (const char* const value : {"0", "1"}) {
        EXPECT_EQ(agent->is_deployment_action_requested(), *value == '1');
        expect_line("DEBUG", "is_deployment_action_requested",
                    std::string{"deployment_action_requested="} + value);
        EXPECT_EQ(agent->is_cancel_action_requested(), *value == '1');
        expect_line("DEBUG", "is_cancel_action_requested",
                    std::string{"cancel_action_requested="} + value);
        server.offer(scripted_deployment(1));
        server.offer_cancel("3");
        agent->retrieve_controller_status();
    }
}

TEST_F(HawkbitAgentGuardLine, TellsWhyConfigDataIsSent) {
    make();
    EXPECT_TRUE(agent->is_new_config_data_required());
    expect_line("DEBUG", "is_new_config_data_required", "starting_up=1 config_data_requested=0");
    agent->send_config_data();
    server.links.config_data = true;
    agent->retrieve_controller_status();

    EXPECT_TRUE(agent->is_new_config_data_required());
    expect_line("DEBUG", "is_new_config_data_required", "starting_up=0 config_data_requested=1");
}

TEST_F(HawkbitAgentGuardLine, TellsWhetherADeploymentIsActive) {
    make();

    // Nothing is offered any more, which ends the cycle as well.
    EXPECT_TRUE(agent->has_active_deployment());
    expect_line("INFO", "has_active_deployment", "status=0");
    start_deployment(scripted_deployment(1));
    EXPECT_TRUE(agent->has_active_deployment());
    expect_line("INFO", "has_active_deployment", "status=1");
}

TEST_F(HawkbitAgentGuardLine, TellsWhetherTheScheduleAllowsADeployment) {
    make();
    EXPECT_TRUE(agent->is_inside_update_schedule());
    expect_line("INFO", "is_inside_update_schedule", "inside=1");
    EXPECT_TRUE(agent->is_deployment_delay_elapsed());
    expect_line("INFO", "is_deployment_delay_elapsed", "status=1");

    AgentSettings settings;
    settings.schedule.emplace();
    settings.schedule->weekdays = 0;
    make(settings);
    EXPECT_FALSE(agent->is_inside_update_schedule());
    expect_line("INFO", "is_inside_update_schedule", "inside=0");
    EXPECT_FALSE(agent->is_deployment_delay_elapsed());
    expect_line("INFO", "is_deployment_delay_elapsed", "status=0");
}

TEST_F(HawkbitAgentGuardLine, TellsWhetherAutomaticUpdatesAreDisabled) {
    make();
    platform.config.values["zephran.service.automatic_update"] = "0";
    EXPECT_TRUE(agent->is_automatic_update_disabled());
    expect_line("INFO", "is_automatic_update_disabled", "status=1");
    platform.config.values["zephran.service.automatic_update"] = "1";
    EXPECT_FALSE(agent->is_automatic_update_disabled());
    expect_line("INFO", "is_automatic_update_disabled", "status=0");
}

TEST_F(HawkbitAgentGuardLine, TellsWhyADeploymentStarts) {
    DeploymentText text = scripted_deployment(1);
    text.history = {"Installation started"};
    make_holding(text);
    EXPECT_TRUE(agent->is_resumed_deployment());
    expect_line("INFO", "is_resumed_deployment", "status=1");
    EXPECT_FALSE(agent->is_user_forced());
    expect_line("INFO", "is_user_forced", "status=0");
    agent->accept_deployment("7");
    EXPECT_TRUE(agent->is_user_forced());
    expect_line("INFO", "is_user_forced", "status=1");
    EXPECT_TRUE(agent->is_forced_deployment());
    expect_line("INFO", "is_forced_deployment", "status=1");

    text.update = "attempt";
    text.history = {"Installation cannot be cancelled", "Installation started"};
    server.offer(text);
    agent->retrieve_deployment_action();
    EXPECT_FALSE(agent->is_forced_deployment());
    expect_line("INFO", "is_forced_deployment", "status=0");
    EXPECT_FALSE(agent->is_resumed_deployment());
    expect_line("INFO", "is_resumed_deployment", "status=0");
    expect_line("WARNING", "is_resumed_deployment", "message=unknown action message");
}

/// Asks every guard, with a deployment that is held back.
class HawkbitAgentRepeatedLines : public ::testing::Test, protected AgentBench {
protected:
    static constexpr std::size_t guards = 12;

    std::size_t lines_of_asking_all() {
        const std::size_t before = count_logged(" hawkbit_agent_guards.cpp:");
        static_cast<void>(agent->is_dormant());
        static_cast<void>(agent->is_backoff_delay_elapsed());
        static_cast<void>(agent->is_deployment_action_requested());
        static_cast<void>(agent->is_cancel_action_requested());
        static_cast<void>(agent->is_new_config_data_required());
        static_cast<void>(agent->has_active_deployment());
        static_cast<void>(agent->is_inside_update_schedule());
        static_cast<void>(agent->is_automatic_update_disabled());
        static_cast<void>(agent->is_resumed_deployment());
        static_cast<void>(agent->is_user_forced());
        static_cast<void>(agent->is_forced_deployment());
        static_cast<void>(agent->is_deployment_delay_elapsed());
        return count_logged(" hawkbit_agent_guards.cpp:") - before;
    }
    void make_holding_one(bool log_repeats) {
        AgentSettings settings;
        settings.options.log_repeats = log_repeats;
        make_holding(scripted_deployment(1), settings);
    }
};

TEST_F(HawkbitAgentRepeatedLines, AreWrittenEachTime) {
    make_holding_one(true);

    EXPECT_EQ(lines_of_asking_all(), guards);
    EXPECT_EQ(lines_of_asking_all(), guards);
}

TEST_F(HawkbitAgentRepeatedLines, CanBeLeftOut) {
    make_holding_one(false);

    EXPECT_EQ(lines_of_asking_all(), guards);
    EXPECT_EQ(lines_of_asking_all(), 0U);
}

TEST_F(HawkbitAgentRepeatedLines, AreWrittenAgainAfterAnotherAnswer) {
    make_holding_one(false);
    lines_of_asking_all();

    agent->accept_deployment("7");
    EXPECT_EQ(lines_of_asking_all(), 1U);
    EXPECT_EQ(lines_of_asking_all(), 0U);
    agent->accept_deployment("8");

    EXPECT_EQ(lines_of_asking_all(), 1U);
    EXPECT_EQ(count_logged("event=is_user_forced status=0"), 2U);
}

}  // namespace
}  // namespace zephran::test
