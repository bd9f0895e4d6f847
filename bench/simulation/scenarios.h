// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

namespace zephran::simulation {

/// Plays the scenarios whose name contains `only`, and writes one line for each minute of each.
/// Columns: scenario, case, options, gateways, minute from the event on, mean and most requests
/// in a second of that minute, and what is known at the end: gateways served, seconds until the
/// last of them was served, failed requests.
void play_scenarios(std::ostream& table, std::size_t gateways, const std::string& only);

}  // namespace zephran::simulation
