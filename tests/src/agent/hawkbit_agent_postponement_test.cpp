// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "support/agent_bench.h"
#include "support/recording_observer.h"
#include "support/time_zone.h"

namespace zephran::test {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr const char* kept = "zephran.device.postponed_deployment";

class HawkbitAgentPostponement : public ::testing::Test, protected AgentBench {
protected:
    AgentSettings extended() const {
        AgentSettings settings;
        settings.may_be_postponed = true;
        settings.status_observer = observer;
        return settings;
    }

    static DeploymentText soft_deployment(const std::string& id = "7") {
        DeploymentText text = scripted_deployment(1);
        text.update = "attempt";
        text.id = id;
        return text;
    }

    /// An agent whose pending deployment waits for the end of a delay.
    void wait_with(AgentSettings settings) {
        make_introduced(std::move(settings));
        platform.config.values["zephran.service.automatic_update"] = "0";
        offer(soft_deployment());
        run_cycle();
        platform.config.values["zephran.service.automatic_update"] = "1";
    }

    void postpone(hours time, const std::string& id = "7") {
        agent->control()->postpone_deployment(id, time);
        tick();
        run_cycle();
        tick(5);
    }

    [[nodiscard]] AgentStatus status() const { return *agent->control()->status(); }
    [[nodiscard]] std::string record() { return platform.config.values[kept]; }

    std::shared_ptr<RecordingObserver> observer = std::make_shared<RecordingObserver>();
};

TEST_F(HawkbitAgentPostponement, HoldsTheDeploymentUntilItsEnd) {
    wait_with(extended());
    const auto until = now + hours{3};

    postpone(hours{3});

    EXPECT_FALSE(agent->is_deploying());
    EXPECT_EQ(status().state, AgentStatus::State::waiting_delay);
    EXPECT_EQ(status().delay_until, until);
    now = until - seconds{1};
    tick(5);
    EXPECT_FALSE(agent->is_deploying());
    now = until;
    tick(5);
    EXPECT_TRUE(agent->is_deploying());
    EXPECT_EQ(record(), "");
}

TEST_F(HawkbitAgentPostponement, IsKeptInTheStore) {
    wait_with(extended());

    postpone(hours{3});

    EXPECT_EQ(record(), "1700010800 7");
    EXPECT_EQ(count_logged("event=postpone_deployment action_id=7"), 1U);
}

TEST_F(HawkbitAgentPostponement, ThatCannotBeKeptIsLogged) {
    wait_with(extended());
    platform.config.read_only = true;

    postpone(hours{3});

    EXPECT_GT(count_logged("postpone_deployment: action=postpone_deployment message=could not"),
              0U);
    EXPECT_EQ(status().delay_until, now + hours{3});
}

TEST_F(HawkbitAgentPostponement, SurvivesARestart) {
    platform.config.values[kept] = "1700010800 7";
    make_introduced(extended());
    offer(soft_deployment());
    run_cycle();
    tick(5);

    EXPECT_FALSE(agent->is_deploying());
    EXPECT_EQ(status().delay_until, std::chrono::system_clock::from_time_t(1'700'010'800));
    now += hours{3};
    tick(3);
    EXPECT_TRUE(agent->is_deploying());
}

TEST_F(HawkbitAgentPostponement, IsNotReadUnlessItIsPossible) {
    platform.config.values[kept] = "1700010800 7";
    make_introduced();
    offer(soft_deployment());
    agent->restart();
    tick(8);

    EXPECT_TRUE(agent->is_deploying());
    EXPECT_EQ(record(), "1700010800 7");
}

TEST_F(HawkbitAgentPostponement, RecordThatMakesNoSenseHoldsNothing) {
    for (const char* const broken : {"", "7", "x 7", "1700010800", "1700010800 "}) {
        platform.config.values[kept] = broken;
        make_introduced(extended());
        offer(soft_deployment());
        agent->restart();
        tick(8);

        EXPECT_TRUE(agent->is_deploying()) << broken;
    }
}

TEST_F(HawkbitAgentPostponement, IsForgottenWhenTheActionChanges) {
    wait_with(extended());
    postpone(hours{3});

    offer(soft_deployment("8"));
    agent->restart();
    tick(8);

    EXPECT_TRUE(agent->is_deploying());
    EXPECT_EQ(record(), "");
}

TEST_F(HawkbitAgentPostponement, IsKeptOverFurtherPolls) {
    wait_with(extended());
    postpone(hours{3});

    for (int i = 0; i < 3; ++i) {
        now += minutes{10};
        run_cycle();
        tick(5);
    }

    EXPECT_FALSE(agent->is_deploying());
    EXPECT_EQ(record(), "1700010800 7");
}

TEST_F(HawkbitAgentPostponement, DoesNotHoldWhatTheServerForces) {
    wait_with(extended());
    postpone(hours{3});

    offer(scripted_deployment(1));
    agent->restart();
    tick(8);

    EXPECT_TRUE(agent->is_deploying());
}

TEST_F(HawkbitAgentPostponement, DoesNotHoldWhatTheUserAccepts) {
    wait_with(extended());
    postpone(hours{3});

    agent->accept_deployment("7");
    tick(3);

    EXPECT_TRUE(agent->is_deploying());
    EXPECT_EQ(record(), "");
}

TEST_F(HawkbitAgentPostponement, IsShownWhileTheUserIsAsked) {
    wait_with(extended());
    platform.config.values["zephran.service.automatic_update"] = "0";

    postpone(hours{3});

    EXPECT_EQ(status().state, AgentStatus::State::waiting_user);
    EXPECT_EQ(status().delay_until, now + hours{3});
}

TEST_F(HawkbitAgentPostponement, LeavesTheWindowAsItIs) {
    const TimeZone zone{"UTC"};
    AgentSettings settings = extended();
    settings.schedule.emplace();
    settings.schedule->set_hours(23, 24);
    wait_with(settings);

    postpone(hours{48});

    EXPECT_EQ(status().state, AgentStatus::State::waiting_window);
    EXPECT_EQ(status().delay_until, now + hours{48});
    now += hours{50};
    tick(5);
    EXPECT_FALSE(agent->is_deploying());
    EXPECT_EQ(status().delay_until, settings.schedule->next_window_start(now));
}

TEST_F(HawkbitAgentPostponement, ClockThatIsSetBackALittleDoesNotEndIt) {
    wait_with(extended());
    postpone(hours{168});

    now -= hours{23};
    tick(5);
    EXPECT_FALSE(agent->is_deploying());

    now -= hours{2};
    tick(5);
    EXPECT_TRUE(agent->is_deploying());
}

TEST_F(HawkbitAgentPostponement, ComesTooLateForADeploymentThatHasStarted) {
    part.script.steps_to_install = 100;
    start_deployment(scripted_deployment(1), extended());

    agent->control()->postpone_deployment("7", hours{3});
    tick();

    EXPECT_EQ(record(), "");
}

}  // namespace
}  // namespace zephran::test
