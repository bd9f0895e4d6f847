// SPDX-License-Identifier: Apache-2.0
#include "fleet.h"

#include <memory>
#include <queue>
#include <utility>
#include <vector>

namespace zephran::simulation {
namespace {

// procd starts a daemon again after so long.
constexpr Milliseconds respawn{30'000};

struct Event {
    Milliseconds time;
    std::size_t gateway;
    bool operator>(const Event& other) const {
        return std::pair{time, gateway} > std::pair{other.time, other.gateway};
    }
};

class IdleObserver : public StatusObserver {
public:
    void state_has_changed(const AgentStatus& /*status*/) override {}
    void download_has_progressed(const AgentStatus& /*status*/) override {}
};

class Fleet {
public:
    Fleet(const Scenario& what, std::size_t count, SimulatedServer& counting_server)
        : scenario{what}, server{counting_server}, agents(count) {
        RandomEngine engine = make_random_engine(1);
        std::uniform_int_distribution<std::int64_t> boot{0, scenario.boots_within.count()};
        for (std::size_t gateway = 0; gateway < count; ++gateway) {
            events.push({Milliseconds{scenario.begin} + Milliseconds{boot(engine)}, gateway});
        }
    }

    void play() {
        const Milliseconds end = scenario.begin + scenario.duration;
        while (!events.empty() && events.top().time < end) {
            const Event event = events.top();
            events.pop();
            events.push({take_step(event), event.gateway});
        }
    }

private:
    /// @returns when its next step comes
    Milliseconds take_step(const Event& event) {
        // No two gateways have their step in the same nanosecond.
        constexpr std::size_t nanoseconds = 1'000'000;
        set_time(std::chrono::nanoseconds{event.time} +
                 std::chrono::nanoseconds{event.gateway * 7919 % nanoseconds});
        std::unique_ptr<SimulatedAgent>& agent = agents[event.gateway];
        if (agent == nullptr) {
            agent = std::make_unique<SimulatedAgent>(server, scenario.schedule, observer);
        }
        try {
            agent->step();
        } catch (const common::Exception&) {
            // A report could not be delivered, which ends the daemon.
            agent.reset();
            return time() + respawn;
        }
        return agent->next_step();
    }

    const Scenario& scenario;
    SimulatedServer& server;
    std::shared_ptr<StatusObserver> observer = std::make_shared<IdleObserver>();
    std::vector<std::unique_ptr<SimulatedAgent>> agents;
    std::priority_queue<Event, std::vector<Event>, std::greater<>> events;
};

}  // namespace

void play(const Scenario& scenario, std::size_t gateways, SimulatedServer& server) {
    server.start = scenario.begin;
    Fleet{scenario, gateways, server}.play();
}

}  // namespace zephran::simulation
