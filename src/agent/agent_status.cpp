// SPDX-License-Identifier: Apache-2.0
#include "agent/agent_status.h"

#include <tuple>

namespace zephran {

namespace {

auto told(const AgentStatus& status) {
    return std::tie(status.state, status.action_id, status.chunk, status.chunks,
                    status.backoff_until, status.delay_until);
}

/// A failure, a result or a try is known by its place in time.
auto marks(const AgentStatus& status) {
    const auto none = AgentStatus::time_point::min();
    return std::make_tuple(status.last_error ? status.last_error->time : none,
                           status.last_result ? status.last_result->time : none,
                           status.download ? status.download->attempt : 0);
}

}  // namespace

const char* to_string(AgentStatus::State state) {
    using State = AgentStatus::State;
    switch (state) {
        case State::polling:
            return "polling";
        case State::idle:
            return "idle";
        case State::backoff:
            return "backoff";
        case State::waiting_window:
            return "waiting_window";
        case State::waiting_delay:
            return "waiting_delay";
        case State::waiting_user:
            return "waiting_user";
        case State::downloading:
            return "downloading";
        case State::verifying:
            return "verifying";
        case State::installing:
            return "installing";
        case State::reporting:
            return "reporting";
        case State::dormant:
            break;
    }
    return "dormant";
}

const char* to_string(AgentStatus::Outcome outcome) {
    using Outcome = AgentStatus::Outcome;
    if (outcome == Outcome::success) {
        return "success";
    }
    return outcome == Outcome::failure ? "failure" : "cancelled";
}

bool is_other_state(const AgentStatus& before, const AgentStatus& after) {
    return told(before) != told(after) || marks(before) != marks(after);
}

}  // namespace zephran
