// SPDX-License-Identifier: Apache-2.0
#include "cpu_benchmarks.h"

#include <atomic>
#include <chrono>
#include <stdexcept>

#include "agent/hawkbit_agent.h"
#include "common/exception.h"
#include "common/logprint.h"

namespace zephran::bench {

namespace {

template <class Body>
double nanoseconds_of_each(std::uint64_t turns, const Body& body) {
    const auto begin = std::chrono::steady_clock::now();
    for (std::uint64_t turn = 0; turn != turns; ++turn) {
        body(turn);
        // Otherwise the compiler removes the empty loop and asks only once whether to log.
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - begin;
    return spent.count() / static_cast<double>(turns);
}

}  // namespace

double empty_loop(std::uint64_t turns) {
    return nanoseconds_of_each(turns, [](std::uint64_t /*turn*/) {});
}

double disabled_log(std::uint64_t turns) {
    set_log_level("INFO");
    return nanoseconds_of_each(turns, [](std::uint64_t turn) {
        ZLOG_DEBUG("event", "disabled_log", "turn", turn, "turns", turn);
    });
}

double idle_tick(std::uint64_t ticks) {
    constexpr int ticks_until_rest = 3;
    set_log_level("ERROR");
    HawkbitAgent agent{"localhost", "bench"};
    AgentSettings settings;
    settings.dormant = true;
    agent.configure(settings);
    for (int tick = 0; tick != ticks_until_rest; ++tick) {
        agent.tick();
    }
    if (!agent.is_finished()) {
        ZEPHRAN_THROW(std::logic_error{"the dormant agent does not rest"});
    }
    return nanoseconds_of_each(ticks, [&agent](std::uint64_t /*turn*/) { agent.tick(); });
}

}  // namespace zephran::bench
