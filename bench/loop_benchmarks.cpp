// SPDX-License-Identifier: Apache-2.0
#include "loop_benchmarks.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "agent_manager.h"
#include "common/logprint.h"
#include "discovery/async_discovery_handler.h"
#include "hawkbit/attributes.h"

namespace zephran::bench {

namespace {

using Clock = std::chrono::steady_clock;
using Nanoseconds = std::chrono::duration<double, std::nano>;

/// Leaves the loop, which otherwise ends on a signal only.
struct EndOfMeasurement {};

/// All its agents are dormant, so that none of them speaks to a server.
class RestingManager : public AgentManager {
public:
    RestingManager(std::uint64_t count_of_agents, std::function<void()> between_iterations)
        : AgentManager{std::move(between_iterations)}, count{count_of_agents} {
        AgentManagerSettings chosen;
        chosen.gateway_id = "bench";
        chosen.server = "localhost";
        chosen.dormant = true;
        configure(std::move(chosen));
    }

    void run_until_measured() {
        try {
            run();
        } catch (const EndOfMeasurement&) {
        }
    }

private:
    void run_setup() override {
        for (std::uint64_t number = 1; number < count; ++number) {
            hawkbit::Attributes properties;
            spawn_agent("device-" + std::to_string(number), properties, {}, true);
        }
    }

    std::uint64_t count;
};

class WaitingHandler : public discovery::AsyncDiscoveryHandler {
public:
    explicit WaitingHandler(std::chrono::milliseconds time_of_a_pass)
        : AsyncDiscoveryHandler{std::chrono::milliseconds{0}}, time{time_of_a_pass} {}
    WaitingHandler(const WaitingHandler&) = delete;
    WaitingHandler& operator=(const WaitingHandler&) = delete;
    ~WaitingHandler() override { discard_pass(); }

    void discover_once() override { std::this_thread::sleep_for(time); }

private:
    std::chrono::milliseconds time;
};

}  // namespace

double loop_iteration(std::uint64_t agents, std::uint64_t iterations) {
    constexpr std::uint64_t iterations_until_rest = 5;
    set_log_level("ERROR");
    std::uint64_t passed = 0;
    Clock::time_point begin;
    Clock::time_point end;
    RestingManager manager{agents, [&] {
                               if (++passed == iterations_until_rest) {
                                   begin = Clock::now();
                               } else if (passed == iterations_until_rest + iterations) {
                                   end = Clock::now();
                                   throw EndOfMeasurement{};
                               }
                           }};
    manager.run_until_measured();
    return Nanoseconds{end - begin}.count() / static_cast<double>(iterations);
}

double longest_iteration_during_pass(std::chrono::milliseconds pass) {
    set_log_level("ERROR");
    Nanoseconds longest{0};
    // The first iteration starts the pass.
    Clock::time_point last;
    Clock::time_point end;
    RestingManager manager{1, [&] {
                               const auto now = Clock::now();
                               if (last == Clock::time_point{}) {
                                   end = now + pass;
                               } else {
                                   longest = std::max(longest, Nanoseconds{now - last});
                               }
                               last = now;
                               if (now >= end) {
                                   throw EndOfMeasurement{};
                               }
                           }};
    manager.add_discovery_handler(std::make_unique<WaitingHandler>(pass));
    manager.run_until_measured();
    return longest.count();
}

}  // namespace zephran::bench
