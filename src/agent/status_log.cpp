// SPDX-License-Identifier: Apache-2.0
#include "agent/status_log.h"

#include <utility>

namespace zephran {

void StatusLog::note_failure(time_point time, std::string text, int code) {
    last_error = AgentStatus::Failure{time, std::move(text), code};
}

void StatusLog::note_result(time_point time, const std::string& action_id,
                            AgentStatus::Outcome outcome) {
    last_result = AgentStatus::Result{action_id, outcome, time};
}

AgentStatus StatusLog::tell(AgentStatus status) {
    status.last_error = last_error;
    status.last_result = last_result;
    if (status.download && status.download->bytes) {
        speed.note(steady_now(), *status.download->bytes);
        status.download->speed = speed.per_second();
    } else {
        speed.reset();
    }
    if (!has_told || is_other_state(last_told, status)) {
        observer->state_has_changed(status);
    }
    note_progress(status);
    last_told = status;
    has_told = true;
    return status;
}

void StatusLog::note_progress(const AgentStatus& status) {
    // The main loop steps once a second, but not to the millisecond: with a whole second every
    // other step would be left out.
    constexpr std::chrono::milliseconds shortest_pause{900};
    if (!status.download || !status.download->bytes) {
        bytes_told = 0;
        return;
    }
    const auto now = steady_now();
    const std::uint64_t bytes = *status.download->bytes;
    if (bytes != bytes_told && now - last_progress >= shortest_pause) {
        observer->download_has_progressed(status);
        bytes_told = bytes;
        last_progress = now;
    }
}

}  // namespace zephran
