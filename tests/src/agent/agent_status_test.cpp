// SPDX-License-Identifier: Apache-2.0
#include "agent/agent_status.h"

#include <functional>
#include <vector>

#include <gtest/gtest.h>

namespace zephran {
namespace {

using State = AgentStatus::State;
using Change = std::function<void(AgentStatus&)>;

constexpr AgentStatus::time_point some_time{std::chrono::hours{480'000}};

TEST(AgentStatusText, NamesEachState) {
    EXPECT_STREQ(to_string(State::polling), "polling");
    EXPECT_STREQ(to_string(State::idle), "idle");
    EXPECT_STREQ(to_string(State::backoff), "backoff");
    EXPECT_STREQ(to_string(State::waiting_window), "waiting_window");
    EXPECT_STREQ(to_string(State::waiting_delay), "waiting_delay");
    EXPECT_STREQ(to_string(State::waiting_user), "waiting_user");
    EXPECT_STREQ(to_string(State::downloading), "downloading");
    EXPECT_STREQ(to_string(State::verifying), "verifying");
    EXPECT_STREQ(to_string(State::installing), "installing");
    EXPECT_STREQ(to_string(State::reporting), "reporting");
    EXPECT_STREQ(to_string(State::dormant), "dormant");
}

TEST(AgentStatusText, NamesEachOutcome) {
    EXPECT_STREQ(to_string(AgentStatus::Outcome::success), "success");
    EXPECT_STREQ(to_string(AgentStatus::Outcome::failure), "failure");
    EXPECT_STREQ(to_string(AgentStatus::Outcome::cancelled), "cancelled");
}

TEST(AgentStatus, FailureHasNoNumberUntilItGetsOne) {
    EXPECT_EQ(AgentStatus::Failure{}.code, 0);
}

TEST(AgentStatusComparison, TellsOfWhatAReaderWouldAct) {
    const std::vector<Change> changes{
        [](AgentStatus& status) { status.state = State::idle; },
        [](AgentStatus& status) { status.action_id = "8"; },
        [](AgentStatus& status) { status.chunk = 2; },
        [](AgentStatus& status) { status.chunks = 2; },
        [](AgentStatus& status) { status.backoff_until = some_time; },
        [](AgentStatus& status) { status.delay_until = some_time; },
        [](AgentStatus& status) {
            status.last_error = AgentStatus::Failure{some_time, "", 0};
        },
        [](AgentStatus& status) {
            status.last_result = AgentStatus::Result{"7", AgentStatus::Outcome::success, some_time};
        },
        [](AgentStatus& status) { status.download->attempt = 2; },
        [](AgentStatus& status) { status.download.reset(); },
    };
    for (const Change& change : changes) {
        AgentStatus before;
        before.download.emplace();
        AgentStatus after = before;

        change(after);

        EXPECT_TRUE(is_other_state(before, after)) << &change - changes.data();
    }
}

TEST(AgentStatusComparison, IsSilentAboutWhatGrowsSteadily) {
    const std::vector<Change> changes{
        [](AgentStatus& /*status*/) {},
        [](AgentStatus& status) { status.counters.polls = 5; },
        [](AgentStatus& status) { status.next_poll = some_time; },
        [](AgentStatus& status) { status.download->bytes = 5; },
        [](AgentStatus& status) { status.download->speed = 5; },
    };
    for (const Change& change : changes) {
        AgentStatus before;
        before.download.emplace();
        AgentStatus after = before;

        change(after);

        EXPECT_FALSE(is_other_state(before, after)) << &change - changes.data();
    }
}

}  // namespace
}  // namespace zephran
