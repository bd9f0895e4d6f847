// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "support/agent_bench.h"
#include "support/time_zone.h"

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

/// The window is open daily from 22 to 24 o'clock, and it is 22:13:20.
class HawkbitAgentClock : public HawkbitAgentWaiting {
protected:
    HawkbitAgentClock() {
        AgentSettings settings = scheduled(every_day);
        settings.schedule->set_hours(22, 24);
        schedule = *settings.schedule;
        make_introduced(settings);
        offer(soft_deployment());
    }

    /// Draws a delay, or keeps one.
    void wait_for_delay() {
        run_cycle();
        tick(2);
    }
    /// Draws a delay that ends within the open window. The clock is the seed.
    void wait_for_delay_in_open_window() {
        wait_for_delay();
        ASSERT_EQ(draws(), 1U);
        ASSERT_LE(drawn_minutes(), 106) << "begin at another second";
    }
    enum class Window { open_one, next_one };

    /// Sets the clock to a full minute of an open window whose delay ends exactly when that window
    /// or the next one closes, and draws that delay.
    void draw_delay_to_the_end_of(Window window) {
        for (now += std::chrono::seconds{40}; !leads_to_the_end_of(window);
             now += std::chrono::minutes{1}) {
        }
        wait_for_delay();
        ASSERT_EQ(draws(), 1U);
    }
    [[nodiscard]] bool leads_to_the_end_of(Window window) const {
        auto engine =
            make_random_engine(static_cast<unsigned long long>(now.time_since_epoch().count()));
        const auto end = now + schedule.pick_update_delay(engine, now);
        const auto time_in_window =
            window == Window::open_one ? now : schedule.next_window_start(now);
        return schedule.is_allowed_on(now) && end == schedule.window_end(time_in_window);
    }
    [[nodiscard]] long drawn_minutes() const {
        const std::string field = " delay_mins=";
        const std::string logged = log.text();
        return std::stol(logged.substr(logged.rfind(field) + field.size()));
    }
    [[nodiscard]] std::size_t draws() const { return count_logged("until="); }
    [[nodiscard]] std::size_t reuses() const { return count_logged("action=reusing delay"); }

    UpdateSchedule schedule;

private:
    TimeZone zone{"UTC0"};
};

TEST_F(HawkbitAgentClock, DelayIsKeptWhileItEndsWithinTheWindow) {
    wait_for_delay_in_open_window();

    now -= std::chrono::minutes{5};
    wait_for_delay();

    EXPECT_EQ(draws(), 1U);
    EXPECT_EQ(reuses(), 1U);
}

TEST_F(HawkbitAgentClock, DelayPastTheWindowAfterTheClockWasSetBackIsDrawnAgain) {
    wait_for_delay_in_open_window();

    for (const int days : {1, 10}) {
        now -= std::chrono::hours{24 * days};
        wait_for_delay();
    }

    EXPECT_EQ(draws(), 3U);
    EXPECT_EQ(reuses(), 0U);
}

TEST_F(HawkbitAgentClock, DelayIntoTheNextWindowIsKeptUntilTheClockIsSetBack) {
    now += std::chrono::minutes{106};
    wait_for_delay();
    ASSERT_GT(drawn_minutes(), 22 * 60);

    now += std::chrono::seconds{10};
    wait_for_delay();
    EXPECT_EQ(reuses(), 1U);
    now -= std::chrono::hours{24};
    wait_for_delay();

    EXPECT_EQ(draws(), 2U);
    EXPECT_EQ(reuses(), 1U);
}

TEST_F(HawkbitAgentClock, DelayThatHasReachedItsWindowIsBoundByThatWindow) {
    now += std::chrono::minutes{106};
    wait_for_delay();
    const long minutes_after_opening = drawn_minutes() - 22 * 60;
    ASSERT_GT(minutes_after_opening, 2);

    now += std::chrono::hours{22} + std::chrono::minutes{2};
    wait_for_delay();
    ASSERT_EQ(reuses(), 1U);
    now -= std::chrono::hours{24};
    wait_for_delay();

    EXPECT_EQ(draws(), 2U);
}

TEST_F(HawkbitAgentClock, DelayMayEndExactlyWhenTheWindowCloses) {
    draw_delay_to_the_end_of(Window::open_one);
    now += std::chrono::seconds{10};

    wait_for_delay();

    EXPECT_EQ(reuses(), 1U);
}

TEST_F(HawkbitAgentClock, DelayToTheClosingHourDoesNotLeadIntoTheNextWindow) {
    draw_delay_to_the_end_of(Window::open_one);
    now -= std::chrono::hours{24};

    wait_for_delay();

    EXPECT_EQ(draws(), 2U);
    EXPECT_EQ(reuses(), 0U);
}

TEST_F(HawkbitAgentClock, DelayToTheClosingHourOfTheNextWindowIsBoundByThatWindow) {
    draw_delay_to_the_end_of(Window::next_one);
    now = schedule.next_window_start(now);
    wait_for_delay();
    ASSERT_EQ(reuses(), 1U);
    now -= std::chrono::hours{24};

    wait_for_delay();

    EXPECT_EQ(draws(), 2U);
}

TEST_F(HawkbitAgentClock, DelayThatElapsesOutsideTheWindowIsDrawnAgain) {
    wait_for_delay_in_open_window();

    now += std::chrono::hours{12};
    tick(5);
    EXPECT_FALSE(agent->is_deploying());
    EXPECT_TRUE(agent->is_waiting());
    EXPECT_EQ(draws(), 2U);
    EXPECT_GE(drawn_minutes(), 11 * 60);
    now += std::chrono::minutes{drawn_minutes() + 1};
    tick(2);

    EXPECT_TRUE(agent->is_deploying());
}

TEST_F(HawkbitAgentWaiting, PollIsDueAtItsTimeAndWhenTheClockWasSetBackBeforeItWasSet) {
    make_introduced();
    const auto noted = now;

    EXPECT_FALSE(agent->is_poll_due());
    now = noted + std::chrono::minutes{5} - std::chrono::milliseconds{1};
    EXPECT_FALSE(agent->is_poll_due());
    now = noted + std::chrono::minutes{5};
    EXPECT_TRUE(agent->is_poll_due());

    for (const std::chrono::hours back : {std::chrono::hours{1}, std::chrono::hours{240}}) {
        now = noted - back;
        EXPECT_TRUE(agent->is_poll_due());
    }
}

TEST_F(HawkbitAgentWaiting, EveryWayToSetTheNextPollNotesItsPeriod) {
    make();
    EXPECT_TRUE(agent->is_poll_due());
    agent->enter_retrieving_controller_status();
    EXPECT_FALSE(agent->is_poll_due());
    server.sleep = "01:00:00";
    agent->retrieve_controller_status();
    EXPECT_FALSE(agent->is_poll_due());
    agent->force_poll();
    EXPECT_TRUE(agent->is_poll_due());
    agent->set_backoff_delay();
    EXPECT_FALSE(agent->is_poll_due());

    now -= std::chrono::milliseconds{1};

    EXPECT_TRUE(agent->is_poll_due());
}

TEST_F(HawkbitAgentWaiting, ForcedPollStaysDueWhenTheClockIsSetBack) {
    make_introduced();
    agent->force_poll();

    now -= std::chrono::milliseconds{1};

    EXPECT_TRUE(agent->is_poll_due());
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
