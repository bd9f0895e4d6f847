// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "agent/agent_status.h"
#include "agent/transfer_speed.h"

namespace zephran {

/// What an agent remembers for its status, and whom it tells.
class StatusLog {
public:
    using time_point = AgentStatus::time_point;
    using SteadyClock = std::function<std::chrono::steady_clock::time_point()>;

    explicit StatusLog(SteadyClock clock) : steady_now{std::move(clock)} {}

    /// Without an observer nothing is to be shown.
    void set_observer(std::shared_ptr<StatusObserver> new_observer) {
        observer = std::move(new_observer);
    }
    [[nodiscard]] bool is_wanted() const { return observer != nullptr; }

    void note_failure(time_point time, std::string text, int code);
    void note_result(time_point time, const std::string& action_id, AgentStatus::Outcome outcome);

    /// Adds what is remembered and what can be told of the speed, and tells the observer what is
    /// new.
    /// @returns the completed status
    AgentStatus tell(AgentStatus status);

    AgentStatus::State machine_state = AgentStatus::State::polling;
    AgentStatus::Counters counters;

private:
    void note_progress(const AgentStatus& status);

    SteadyClock steady_now;
    std::shared_ptr<StatusObserver> observer;
    std::optional<AgentStatus::Failure> last_error;
    std::optional<AgentStatus::Result> last_result;
    AgentStatus last_told;
    bool has_told = false;
    TransferSpeed speed;
    std::chrono::steady_clock::time_point last_progress;
    std::uint64_t bytes_told = 0;
};

}  // namespace zephran
