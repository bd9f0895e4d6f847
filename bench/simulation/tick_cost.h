// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iosfwd>

namespace zephran::simulation {

/// Makes so many agents in this process and writes a line: their number, the nanoseconds of a step
/// of one at rest, those of a whole poll of one, and the bytes of memory for each.
void write_cost(std::ostream& table, std::size_t agents);

}  // namespace zephran::simulation
