// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>

namespace zephran::bench {

/// Nanoseconds of one iteration of the main loop, its pause left out, when all agents rest.
/// @param agents how many there are, the gateway's own included; at least 1
double loop_iteration(std::uint64_t agents, std::uint64_t iterations);

/// Nanoseconds of the longest iteration while a discovery pass runs that does nothing but wait, as
/// a pass waits for its tool.
double longest_iteration_during_pass(std::chrono::milliseconds pass);

}  // namespace zephran::bench
