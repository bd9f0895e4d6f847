// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <random>

namespace zephran {

/// Spreads the load of many devices on one update server. Not for cryptography.
using RandomEngine = std::linear_congruential_engine<unsigned int, 16807, 0, 2147483647>;

/// Accepts any seed. A multiple of the modulus counts as 1, as the C++ standard demands of an
/// engine without an increment (rand.eng.lcong).
inline RandomEngine make_random_engine(unsigned long long seed) {
    return RandomEngine{static_cast<unsigned int>(seed % RandomEngine::modulus)};
}

/// Seeded from the system clock.
inline RandomEngine make_random_engine() {
    return make_random_engine(static_cast<unsigned long long>(
        std::chrono::system_clock::now().time_since_epoch().count()));
}

}  // namespace zephran
