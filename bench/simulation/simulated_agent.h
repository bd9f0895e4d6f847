// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>

#include "agent/agent_status.h"
#include "agent/hawkbit_agent.h"
#include "simulated_server.h"

namespace zephran::simulation {

/// One gateway: its agent, which takes a step once a second when there is something to do.
class SimulatedAgent {
public:
    /// The gateway has booted now.
    /// @param observer lets next_step() know what the agent waits for; may be null
    SimulatedAgent(SimulatedServer& server, const std::optional<UpdateSchedule>& schedule,
                   std::shared_ptr<StatusObserver> observer);
    SimulatedAgent(const SimulatedAgent&) = delete;
    SimulatedAgent& operator=(const SimulatedAgent&) = delete;

    /// What the main loop does once a second.
    void step();
    /// When the next step does something, in whole seconds from now.
    [[nodiscard]] Milliseconds next_step() const;

private:
    Target target;
    HawkbitAgent agent;
    AgentStatus::State last_state = AgentStatus::State::polling;
    unsigned steps_in_state = 0;
};

}  // namespace zephran::simulation
