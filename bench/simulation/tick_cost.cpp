// SPDX-License-Identifier: Apache-2.0
#include "tick_cost.h"

#include <algorithm>
#include <memory>
#include <ostream>
#include <vector>

#include <malloc.h>
#include <sys/resource.h>

#include "simulated_agent.h"

namespace zephran::simulation {
namespace {

using Agents = std::vector<std::unique_ptr<SimulatedAgent>>;
using Microseconds = std::chrono::microseconds;

constexpr std::size_t steps_to_measure = 4'000'000;
constexpr std::size_t polls_to_measure = 200'000;
// From a poll that is due to the rest after it.
constexpr unsigned steps_of_a_poll = 4;
constexpr unsigned steps_of_the_first = 10;
constexpr std::chrono::seconds polling_time{300};

Microseconds to_duration(const timeval& spent) {
    return std::chrono::seconds{spent.tv_sec} + Microseconds{spent.tv_usec};
}

// The clocks of this program are simulated.
Microseconds spent_by_processor() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return to_duration(usage.ru_utime) + to_duration(usage.ru_stime);
}

void step(const Agents& agents, std::size_t times) {
    for (std::size_t round = 0; round < times; ++round) {
        for (const auto& agent : agents) {
            agent->step();
        }
    }
}

/// In nanoseconds for each agent and round.
template <class Work>
double cost_of(std::size_t agents, std::size_t rounds, Work work) {
    const Microseconds begin = spent_by_processor();
    for (std::size_t round = 0; round < rounds; ++round) {
        work();
    }
    const std::chrono::duration<double, std::nano> spent = spent_by_processor() - begin;
    return spent.count() / static_cast<double>(agents * rounds);
}

void poll(const Agents& agents) {
    set_time(time() + polling_time);
    step(agents, steps_of_a_poll);
}

}  // namespace

void write_cost(std::ostream& table, std::size_t agents) {
    SimulatedServer server{std::chrono::seconds{0}};
    Agents made(agents);
    set_time(Milliseconds{std::chrono::hours{24}});
    const std::size_t before = mallinfo2().uordblks;
    for (auto& agent : made) {
        agent = std::make_unique<SimulatedAgent>(server, std::nullopt, nullptr);
    }
    step(made, steps_of_the_first);
    const std::size_t bytes = (mallinfo2().uordblks - before) / agents;
    const double step_cost = cost_of(agents, std::max(steps_to_measure / agents, std::size_t{1}),
                                     [&] { step(made, 1); });
    const double poll_cost =
        cost_of(agents, std::max(polls_to_measure / agents, std::size_t{1}), [&] { poll(made); });
    table << agents << ',' << step_cost << ',' << poll_cost << ',' << bytes << '\n';
}

}  // namespace zephran::simulation
