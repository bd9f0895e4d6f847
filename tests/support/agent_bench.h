// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "agent/hawkbit_agent.h"
#include "support/captured_log.h"
#include "support/deployer_bench.h"
#include "support/fake_ddi_client.h"
#include "support/fake_http_client.h"
#include "support/fake_platform.h"
#include "support/scripted_installer.h"

namespace zephran::test {

/// An agent in a simulated environment.
struct AgentBench {
    static constexpr unsigned ticks_to_config_data = 4;
    /// Ticks from the first to the end of a cycle that finds nothing to do.
    static constexpr unsigned ticks_of_first_cycle = 7;

    HawkbitAgent& make(AgentSettings settings = {}) {
        agent = std::make_unique<HawkbitAgent>(
            hawkbit::ControllerURLBuilder{"gateway", "update.example", "DEFAULT", true},
            HawkbitAgent::Environment{server.make_client(), files.client_maker(),
                                      [this] { return now; }, [this] { return steady; }});
        agent->configure(std::move(settings));
        return *agent;
    }

    /// Makes an agent that has introduced itself to the server and found nothing else to do.
    HawkbitAgent& make_introduced(AgentSettings settings = {}) {
        make(std::move(settings));
        tick(ticks_of_first_cycle);
        server.exchanges.clear();
        return *agent;
    }

    /// Opens a deployment whose files can be downloaded.
    void offer(const DeploymentText& text) {
        server.offer(text);
        files.offer(text);
    }

    void tick(unsigned times = 1) const {
        for (unsigned i = 0; i < times; ++i) {
            agent->tick();
        }
    }

    /// Starts the next cycle and ticks until it has ended or waits.
    void run_cycle() const {
        agent->restart();
        run_to_rest();
    }

    void run_to_rest() const {
        tick_while([this] { return !agent->is_finished() && !agent->is_waiting(); });
    }

    void run_to_end_of_deployment() const {
        tick_while([this] { return agent->is_deploying(); });
    }

    /// Makes an agent with a deployment that it has not started.
    void make_holding(const DeploymentText& text, AgentSettings settings = {}) {
        make(std::move(settings));
        server.offer(text);
        agent->retrieve_deployment_action();
    }

    /// Makes an agent and ticks it until a deployment of this many chunks is running.
    void start_deployment(const DeploymentText& text, AgentSettings settings = {}) {
        make_introduced(std::move(settings));
        offer(text);
        agent->restart();
        tick_while([this] { return !agent->is_deploying(); });
    }

    /// The same, until the first installer has started.
    void start_installation(const DeploymentText& text) {
        start_deployment(text);
        tick_while([this] { return part.script.started.empty(); });
    }

    template <class Condition>
    void tick_while(Condition condition) const {
        constexpr unsigned more_than_enough = 500;
        for (unsigned i = 0; condition(); ++i) {
            if (i == more_than_enough) {
                throw std::logic_error{"The agent does not come to the awaited point"};
            }
            agent->tick();
        }
    }

    [[nodiscard]] std::size_t count_logged(const std::string& text) const {
        const std::string logged = log.text();
        std::size_t count = 0;
        for (auto at = logged.find(text); at != std::string::npos; at = logged.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

    CapturedLog log;
    FakePlatform platform;
    UpdateServer server;
    FileServer files;
    ScriptedPart part{"scripted"};
    HawkbitAgent::time_point now = std::chrono::system_clock::from_time_t(1'700'000'000);
    std::chrono::steady_clock::time_point steady{std::chrono::hours{1}};
    std::unique_ptr<HawkbitAgent> agent;
};

}  // namespace zephran::test
