// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <random>

namespace zephran {

/// Spreads the load of many devices on one update server. Not for cryptography.
using RandomEngine = std::linear_congruential_engine<unsigned int, 16807, 0, 2147483647>;

/// Accepts any seed; a multiple of the modulus counts as 1.
inline RandomEngine make_random_engine(unsigned long long seed) {
    const auto state = static_cast<unsigned int>(seed % RandomEngine::modulus);
    return RandomEngine{state == 0 ? 1 : state};
}

/// Seeded from the system clock.
inline RandomEngine make_random_engine() {
    return make_random_engine(static_cast<unsigned long long>(
        std::chrono::system_clock::now().time_since_epoch().count()));
}

}  // namespace zephran
