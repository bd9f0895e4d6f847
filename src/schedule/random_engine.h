#pragma once

#include <chrono>
#include <random>

namespace zephran {

/// Spreads the load that many devices put on one update server. It is no source of secrets.
using RandomEngine = std::linear_congruential_engine<unsigned int, 16807, 0, 2147483647>;

/// An engine seeded with any number; one that the modulus divides counts as 1.
inline RandomEngine make_random_engine(unsigned long long seed) {
    const auto state = static_cast<unsigned int>(seed % RandomEngine::modulus);
    return RandomEngine{state == 0 ? 1 : state};
}

/// An engine seeded with the system clock's count.
inline RandomEngine make_random_engine() {
    return make_random_engine(static_cast<unsigned long long>(
        std::chrono::system_clock::now().time_since_epoch().count()));
}

}  // namespace zephran
