// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "agent/agent_status.h"

namespace zephran::test {

/// Keeps what it hears.
class RecordingObserver : public StatusObserver {
public:
    void state_has_changed(const AgentStatus& status) override { states.push_back(status); }
    void download_has_progressed(const AgentStatus& status) override {
        progresses.push_back(status);
    }

    /// The states in order, without those that only repeat the one before.
    [[nodiscard]] std::vector<std::string> path() const {
        std::vector<std::string> names;
        for (const AgentStatus& status : states) {
            if (names.empty() || names.back() != to_string(status.state)) {
                names.emplace_back(to_string(status.state));
            }
        }
        return names;
    }

    std::vector<AgentStatus> states;
    std::vector<AgentStatus> progresses;
};

}  // namespace zephran::test
