// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

#include "agent_manager.h"
#include "discovery/async_discovery_handler.h"

namespace zephran::test {

/// A manager that is never run. The address of its server is invalid.
class UnreachableServerManager : public AgentManager {
public:
    UnreachableServerManager() : AgentManager{[] {}} {
        AgentManagerSettings unreachable;
        unreachable.gateway_id = "gateway";
        unreachable.server = "update.example:none";
        configure(unreachable);
    }

protected:
    void run_setup() override {}
};

/// The clock of a discovery handler; advancing it drives the passes.
class PassClock {
public:
    static constexpr std::chrono::milliseconds period{30'000};

    [[nodiscard]] discovery::AsyncDiscoveryHandler::Clock reader() {
        return [this] {
            ++looks;
            return time;
        };
    }

    /// Starts the pass that is due after one period.
    void start_pass(discovery::AsyncDiscoveryHandler& handler) {
        time += period;
        handler.tick();
    }
    /// Ticks until the pass has been collected: earlier ticks do not read the clock.
    void collect_pass(discovery::AsyncDiscoveryHandler& handler) const {
        const unsigned looks_before = looks;
        while (looks == looks_before) {
            handler.tick();
        }
    }
    void run_pass(discovery::AsyncDiscoveryHandler& handler) {
        start_pass(handler);
        collect_pass(handler);
    }

    std::chrono::steady_clock::time_point time{std::chrono::hours{24}};
    unsigned looks = 0;
};

}  // namespace zephran::test
