// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "deployment/deployment_stage.h"

namespace zephran {

/// What an agent is doing, for people and programs on the gateway. What does not apply is empty.
struct AgentStatus {
    using time_point = std::chrono::system_clock::time_point;

    enum class State {
        polling,
        idle,            ///< until the next poll
        backoff,         ///< after a failed poll
        waiting_window,  ///< for the weekly window
        waiting_delay,   ///< for the end of the random delay, or of a postponement
        waiting_user,    ///< for the user's consent
        downloading,
        verifying,
        installing,
        reporting,  ///< a report is being sent, or waits to be sent again
        dormant     ///< until a poll is forced
    };

    enum class Outcome { success, failure, cancelled };

    struct Download : DownloadProgress {
        /// Bytes a second, over the last few seconds.
        std::optional<std::uint64_t> speed;
    };
    struct Failure {
        time_point time;
        std::string text;
        /// Its number in failure_code.h.
        int code = 0;
    };
    struct Result {
        std::string action_id;
        Outcome outcome = Outcome::success;
        time_point time;
    };
    /// Since the daemon has started.
    struct Counters {
        std::uint32_t polls = 0;
        std::uint32_t failed_polls = 0;
        std::uint32_t deployments = 0;
        std::uint64_t bytes = 0;  ///< of artifacts
    };

    State state = State::polling;
    /// Of the deployment that waits or runs.
    std::string action_id;
    /// How many chunks it has; 0 without a deployment.
    std::uint32_t chunks = 0;
    /// The one that it is at, from 1; 0 before it has started.
    std::uint32_t chunk = 0;
    /// Of that chunk.
    std::string part;
    std::string version;
    std::optional<Download> download;
    std::optional<time_point> next_poll;
    std::optional<time_point> backoff_until;
    /// Before this time the deployment starts only if the server forces it or the user accepts it.
    std::optional<time_point> delay_until;
    std::optional<Failure> last_error;
    std::optional<Result> last_result;
    Counters counters;
};

[[nodiscard]] const char* to_string(AgentStatus::State state);
[[nodiscard]] const char* to_string(AgentStatus::Outcome outcome);

/// Whether a reader of states is to be told: numbers that grow steadily do not count.
[[nodiscard]] bool is_other_state(const AgentStatus& before, const AgentStatus& after);

/// Hears of an agent's status, on the main thread. It must not keep the main thread waiting.
class StatusObserver {
public:
    StatusObserver() = default;
    StatusObserver(const StatusObserver&) = delete;
    StatusObserver& operator=(const StatusObserver&) = delete;
    virtual ~StatusObserver() = default;

    virtual void state_has_changed(const AgentStatus& status) = 0;
    /// Called about once a second, and not more often, while an artifact arrives.
    virtual void download_has_progressed(const AgentStatus& status) = 0;
};

}  // namespace zephran
