// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace zephran::simulation {

using Milliseconds = std::chrono::milliseconds;

/// What every clock of this program shows: both the system's and the steady one, which are the
/// same here. The seeds of random numbers come from it, too, so a simulation can be repeated.
void set_time(Milliseconds since_1970);

/// The same in finer steps, for what happens within a millisecond.
void set_time(std::chrono::nanoseconds since_1970);

[[nodiscard]] Milliseconds time();

}  // namespace zephran::simulation
