// SPDX-License-Identifier: Apache-2.0
#include "simulated_agent.h"

#include <algorithm>
#include <utility>

namespace zephran::simulation {
namespace {

constexpr Milliseconds loop_pause{1000};

Milliseconds whole_pauses(Milliseconds wait) {
    return std::max((wait + loop_pause - Milliseconds{1}) / loop_pause, std::int64_t{1}) *
           loop_pause;
}

Milliseconds since_1970(HawkbitAgent::time_point time_of_day) {
    return std::chrono::ceil<Milliseconds>(time_of_day.time_since_epoch());
}

}  // namespace

SimulatedAgent::SimulatedAgent(SimulatedServer& server,
                               const std::optional<UpdateSchedule>& schedule,
                               std::shared_ptr<StatusObserver> observer)
    : agent{hawkbit::ControllerURLBuilder{"gateway", "update.example", "DEFAULT", true},
            HawkbitAgent::Environment{server.make_client(target), nullptr,
                                      std::chrono::system_clock::now,
                                      std::chrono::steady_clock::now}} {
    AgentSettings settings;
    settings.schedule = schedule;
    settings.status_observer = std::move(observer);
    agent.configure(std::move(settings));
}

void SimulatedAgent::step() {
    const bool is_at_rest = agent.is_finished() || agent.is_waiting();
    if (is_at_rest && (agent.is_poll_due() || agent.is_poll_forced())) {
        agent.restart();
    }
    agent.tick();
    const auto state = agent.control()->status()->state;
    steps_in_state = state == last_state ? steps_in_state + 1 : 0;
    last_state = state;
}

Milliseconds SimulatedAgent::next_step() const {
    using State = AgentStatus::State;
    const auto status = agent.control()->status();
    auto due = agent.next_poll();
    switch (status->state) {
        case State::idle:
        case State::backoff:
            break;
        case State::waiting_window:
        case State::waiting_delay:
            // The first steps find out whether there is anything to wait for.
            due = std::min(due, status->delay_until.value_or(due));
            due = steps_in_state < 2 ? HawkbitAgent::time_point{} : due;
            break;
        default:
            due = HawkbitAgent::time_point{};
    }
    const Milliseconds now = time();
    return now + (agent.is_poll_forced() ? loop_pause : whole_pauses(since_1970(due) - now));
}

}  // namespace zephran::simulation
