// SPDX-License-Identifier: Apache-2.0
#include <ctime>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "installer/failure_code.h"
#include "support/agent_bench.h"
#include "support/recording_observer.h"
#include "support/time_zone.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;

class HawkbitAgentStatus : public ::testing::Test, protected AgentBench {
protected:
    using State = AgentStatus::State;
    using Outcome = AgentStatus::Outcome;

    AgentSettings observed() const {
        AgentSettings settings;
        settings.status_observer = observer;
        return settings;
    }

    AgentSettings scheduled(std::uint32_t weekdays) const {
        AgentSettings settings = observed();
        settings.schedule.emplace();
        settings.schedule->weekdays = weekdays;
        return settings;
    }

    static DeploymentText soft_deployment(unsigned chunks = 1) {
        DeploymentText text = scripted_deployment(chunks);
        text.update = "attempt";
        return text;
    }

    [[nodiscard]] AgentStatus status() const { return *agent->control()->status(); }

    static constexpr std::uint32_t no_day = 0;
    static constexpr std::uint32_t every_day = 0x7F;

    std::shared_ptr<RecordingObserver> observer = std::make_shared<RecordingObserver>();
};

TEST_F(HawkbitAgentStatus, IsNotComposedWithoutAnObserver) {
    make_introduced();

    EXPECT_EQ(status().state, State::polling);
    EXPECT_EQ(status().counters.polls, 0U);
}

TEST_F(HawkbitAgentStatus, PollsAndIsIdle) {
    make_introduced(observed());

    EXPECT_THAT(observer->path(), ElementsAre("polling", "idle"));
    EXPECT_EQ(status().state, State::idle);
    EXPECT_EQ(status().next_poll, now + std::chrono::minutes{5});
    EXPECT_EQ(status().action_id, "");
    EXPECT_EQ(status().chunks, 0U);
    EXPECT_EQ(status().counters.polls, 2U);
    EXPECT_EQ(status().counters.failed_polls, 0U);
    EXPECT_FALSE(status().last_error || status().last_result || status().backoff_until ||
                 status().delay_until || status().download);
}

TEST_F(HawkbitAgentStatus, IsPollingFromTheRestartOn) {
    make_introduced(observed());

    agent->restart();

    EXPECT_EQ(status().state, State::polling);
    EXPECT_EQ(status().next_poll, std::nullopt);
}

TEST_F(HawkbitAgentStatus, BacksOffAfterAFailedPoll) {
    make_introduced(observed());
    server.fail(Exchange::fetch_status, 1);

    agent->restart();
    tick();

    EXPECT_EQ(status().state, State::backoff);
    EXPECT_EQ(status().counters.polls, 3U);
    EXPECT_EQ(status().counters.failed_polls, 1U);
    EXPECT_EQ(status().backoff_until, agent->next_poll());
    EXPECT_GT(status().backoff_until, now);
    ASSERT_TRUE(status().last_error);
    EXPECT_EQ(status().last_error->time, now);
    EXPECT_EQ(status().last_error->code, 500);
    EXPECT_THAT(status().last_error->text, ::testing::HasSubstr("HTTP"));
}

TEST_F(HawkbitAgentStatus, LeavesTheBackoffWithTheNextPoll) {
    make_introduced(observed());
    server.fail(Exchange::fetch_status, 1);
    agent->restart();
    tick();

    agent->force_poll();
    tick();
    EXPECT_EQ(status().state, State::polling);
    EXPECT_EQ(status().backoff_until, std::nullopt);
    tick(3);

    EXPECT_EQ(status().state, State::idle);
    EXPECT_TRUE(status().last_error);
}

TEST_F(HawkbitAgentStatus, WaitsForTheWindow) {
    const TimeZone zone{"UTC"};
    AgentSettings settings = scheduled(every_day);
    settings.schedule->set_hours(23, 24);
    make_introduced(settings);
    offer(soft_deployment(3));

    run_cycle();
    tick(5);

    EXPECT_EQ(status().state, State::waiting_window);
    EXPECT_EQ(status().action_id, "7");
    EXPECT_EQ(status().chunks, 3U);
    EXPECT_EQ(status().chunk, 0U);
    EXPECT_EQ(status().part, "");
    EXPECT_EQ(status().delay_until, settings.schedule->next_window_start(now));
}

TEST_F(HawkbitAgentStatus, KnowsNoEndOfAWaitWithoutAWindow) {
    make_introduced(observed());
    offer(soft_deployment());
    agent->restart();
    tick_while([this] { return status().state != State::waiting_window; });
    EXPECT_EQ(status().delay_until, std::nullopt);

    make_introduced(scheduled(no_day));
    offer(soft_deployment());
    run_cycle();
    EXPECT_EQ(status().state, State::waiting_window);
    EXPECT_EQ(status().delay_until, std::nullopt);
}

TEST_F(HawkbitAgentStatus, WaitsForTheEndOfTheDelay) {
    make_introduced(scheduled(every_day));
    offer(soft_deployment());

    run_cycle();
    tick(5);

    EXPECT_EQ(status().state, State::waiting_delay);
    EXPECT_GT(status().delay_until, now);
}

TEST_F(HawkbitAgentStatus, WaitsForTheUser) {
    make_introduced(observed());
    offer(soft_deployment());
    platform.config.values["zephran.service.automatic_update"] = "0";

    run_cycle();
    tick(5);

    EXPECT_EQ(status().state, State::waiting_user);
    EXPECT_EQ(status().delay_until, std::nullopt);
    EXPECT_EQ(status().next_poll, agent->next_poll());
}

TEST_F(HawkbitAgentStatus, FollowsADeploymentToItsEnd) {
    start_deployment(scripted_deployment(2), observed());
    observer->states.clear();
    run_to_end_of_deployment();
    tick();

    EXPECT_THAT(observer->path(),
                ElementsAre("verifying", "installing", "reporting", "installing", "reporting",
                            "installing", "downloading", "verifying", "installing", "reporting",
                            "installing", "reporting", "installing", "reporting", "idle"));
    EXPECT_EQ(status().counters.deployments, 1U);
    EXPECT_EQ(status().counters.bytes, 2 * std::string{"content of a.bin"}.size());
    EXPECT_EQ(status().action_id, "");
    ASSERT_TRUE(status().last_result);
    EXPECT_EQ(status().last_result->action_id, "7");
    EXPECT_EQ(status().last_result->outcome, Outcome::success);
    EXPECT_EQ(status().last_result->time, now);
    EXPECT_FALSE(status().last_error);
}

TEST_F(HawkbitAgentStatus, NamesTheChunkThatADeploymentIsAt) {
    part.script.steps_to_install = 100;
    make_introduced(observed());
    offer(scripted_deployment(2));
    agent->restart();
    tick_while([this] { return status().state != State::downloading; });

    EXPECT_EQ(status().action_id, "7");
    EXPECT_EQ(status().chunk, 1U);
    EXPECT_EQ(status().chunks, 2U);
    EXPECT_EQ(status().part, "scripted");
    EXPECT_EQ(status().version, "1");
    tick_while([this] { return !status().download; });
    EXPECT_EQ(status().download->size, std::string{"content of a.bin"}.size());
    EXPECT_EQ(status().download->bytes, std::nullopt);
    tick_while([this] { return part.script.started.empty(); });
    EXPECT_EQ(status().state, State::installing);
    EXPECT_FALSE(status().download);
}

TEST_F(HawkbitAgentStatus, CountsTheBytesOfADeploymentThatRuns) {
    part.script.steps_to_install = 100;
    start_deployment(scripted_deployment(1), observed());

    tick_while([this] { return part.script.started.empty(); });

    EXPECT_EQ(status().counters.bytes, std::string{"content of a.bin"}.size());
}

TEST_F(HawkbitAgentStatus, NamesNoDownloadWhileAReportHoldsIt) {
    AgentSettings settings = observed();
    settings.reports.retries = true;
    start_deployment(scripted_deployment(2), settings);
    server.answer_reports({200, 503});
    tick_while([this] { return server.reports.size() < 2; });

    EXPECT_EQ(status().state, State::reporting);
    EXPECT_EQ(status().chunk, 2U);
    EXPECT_FALSE(status().download);
}

TEST_F(HawkbitAgentStatus, NamesNoDownloadOfAChunkWithoutArtifacts) {
    part.script.steps_to_install = 100;
    make_introduced(observed());
    offer({"7", {{"scripted", "a", "1", {}}}});
    agent->restart();

    bool was_downloading = false;
    tick_while([&] {
        EXPECT_FALSE(status().download);
        was_downloading = was_downloading || status().state == State::downloading;
        return part.script.started.empty();
    });

    EXPECT_TRUE(was_downloading);
}

TEST_F(HawkbitAgentStatus, WaitsForNothingOutsideOfAWait) {
    make_introduced(scheduled(every_day));
    EXPECT_EQ(status().state, State::idle);
    EXPECT_EQ(status().delay_until, std::nullopt);
    offer(soft_deployment());
    run_cycle();
    tick(5);
    ASSERT_EQ(status().state, State::waiting_delay);

    agent->accept_deployment(HawkbitAgent::any_deployment);
    tick_while([this] { return !agent->is_deploying(); });
    tick();

    EXPECT_EQ(status().delay_until, std::nullopt);
}

TEST_F(HawkbitAgentStatus, TellsOfAFailedDeployment) {
    part.script.fails_while_installing = true;
    start_deployment(scripted_deployment(1), observed());
    run_to_end_of_deployment();
    tick();

    EXPECT_EQ(status().state, State::idle);
    ASSERT_TRUE(status().last_result && status().last_error);
    EXPECT_EQ(status().last_result->outcome, Outcome::failure);
    EXPECT_EQ(status().last_error->text,
              server.deployment_feedbacks.back().message.details.front());
    EXPECT_EQ(status().last_error->code, failure_code::other);
}

TEST_F(HawkbitAgentStatus, TellsOfACancelledDeployment) {
    part.script.steps_to_install = 100;
    start_deployment(scripted_deployment(1), observed());
    tick_while([this] { return part.script.started.empty(); });
    server.close_deployment();
    server.offer_cancel("7");

    agent->force_poll();
    agent->restart();
    run_to_end_of_deployment();
    tick();

    ASSERT_TRUE(status().last_result);
    EXPECT_EQ(status().last_result->outcome, Outcome::cancelled);
    EXPECT_EQ(status().last_result->action_id, "7");
}

TEST_F(HawkbitAgentStatus, ReportsUntilTheServerHasTakenTheReport) {
    AgentSettings settings = observed();
    settings.reports.retries = true;
    start_deployment(scripted_deployment(1), settings);
    server.answer_reports({503});
    tick_while([this] { return server.reports.empty(); });

    EXPECT_EQ(status().state, State::reporting);
    ASSERT_TRUE(status().backoff_until);
    EXPECT_GT(status().backoff_until, now);
    EXPECT_EQ(status().action_id, "7");

    now = *status().backoff_until;
    run_to_end_of_deployment();
    tick(2);
    EXPECT_EQ(status().state, State::idle);
    EXPECT_EQ(status().backoff_until, std::nullopt);
}

TEST_F(HawkbitAgentStatus, OfADormantAgentIsDormant) {
    AgentSettings settings = observed();
    settings.dormant = true;
    make(settings);
    tick(3);
    agent->restart();
    tick(2);

    EXPECT_EQ(status().state, State::dormant);
    EXPECT_EQ(status().next_poll, std::nullopt);
    EXPECT_EQ(status().counters.polls, 0U);
}

TEST_F(HawkbitAgentStatus, OfADormantAgentIsPollingOnceForced) {
    AgentSettings settings = observed();
    settings.dormant = true;
    make(settings);
    tick(3);
    observer->states.clear();

    agent->force_poll();
    agent->restart();
    run_to_rest();

    EXPECT_THAT(observer->path(), ElementsAre("polling", "dormant"));
    EXPECT_EQ(status().counters.polls, 2U);
}

}  // namespace
}  // namespace zephran::test
