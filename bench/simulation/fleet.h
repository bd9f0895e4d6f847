// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>

#include "simulated_agent.h"

namespace zephran::simulation {

/// A fleet and what happens to it.
struct Scenario {
    std::chrono::seconds duration{0};
    /// When it begins, in seconds since 1970.
    std::chrono::seconds begin{0};
    /// The gateways boot evenly spread over this time.
    Milliseconds boots_within{0};
    std::optional<UpdateSchedule> schedule;
};

/// Plays a scenario with so many real agents; the server counts.
void play(const Scenario& scenario, std::size_t gateways, SimulatedServer& server);

}  // namespace zephran::simulation
