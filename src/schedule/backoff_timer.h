// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>

#include "schedule/random_engine.h"

namespace zephran::common {

/// Random delays after failed attempts. Their upper bound doubles with every failure, up to a cap.
/// Devices that lost the server at the same time thus do not return at the same time.
class BackoffTimer {
public:
    /// @param max  the longest delay
    /// @param base half of the bound of the first delay
    BackoffTimer(const std::chrono::milliseconds& max, const std::chrono::milliseconds& base,
                 unsigned long long seed);
    /// The same, seeded with the system clock.
    BackoffTimer(const std::chrono::milliseconds& max, const std::chrono::milliseconds& base);

    /// Counts a failure and returns the delay until the next attempt.
    [[nodiscard]] std::chrono::milliseconds next();
    /// Forgets all failures.
    void reset();

private:
    [[nodiscard]] std::int64_t bound() const;

    std::uint32_t attempts = 0;
    std::chrono::milliseconds max_delay;
    std::chrono::milliseconds base_delay;
    RandomEngine engine;
};

}  // namespace zephran::common
