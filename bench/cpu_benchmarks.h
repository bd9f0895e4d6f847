// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace zephran::bench {

/// Nanoseconds that one turn of an empty loop takes.
double empty_loop(std::uint64_t turns);

/// Nanoseconds that one LOG_DEBUG with three fields takes while DEBUG is switched off, the turn of
/// the loop included.
double disabled_log(std::uint64_t turns);

/// Nanoseconds of one tick of an agent that is dormant and has nothing to do.
double idle_tick(std::uint64_t ticks);

}  // namespace zephran::bench
