// SPDX-License-Identifier: Apache-2.0
#include "schedule/backoff_timer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace zephran::common {

namespace {

constexpr std::int64_t overflowed = -1;

// Converting a number that does not fit would be undefined behaviour.
std::int64_t power_of_two(std::uint32_t exponent) {
    const double power = std::exp2(static_cast<double>(exponent));
    const double limit = std::exp2(std::numeric_limits<std::int64_t>::digits);
    return power < limit ? static_cast<std::int64_t>(power) : overflowed;
}

// Signed overflow is undefined behaviour; unsigned overflow is not.
std::int64_t wrapping_product(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

}  // namespace

BackoffTimer::BackoffTimer(const std::chrono::milliseconds& max,
                           const std::chrono::milliseconds& base, unsigned long long seed)
    : max_delay{max}, base_delay{base}, engine{make_random_engine(seed)} {}

BackoffTimer::BackoffTimer(const std::chrono::milliseconds& max,
                           const std::chrono::milliseconds& base)
    : max_delay{max}, base_delay{base}, engine{make_random_engine()} {}

std::chrono::milliseconds BackoffTimer::next() {
    ++attempts;
    std::uniform_int_distribution<std::int64_t> delay{0, bound()};
    return std::chrono::milliseconds{delay(engine)};
}

void BackoffTimer::reset() {
    attempts = 0;
}

std::int64_t BackoffTimer::bound() const {
    const std::int64_t cap = std::max<std::int64_t>(max_delay.count(), 0);
    const std::int64_t factor = power_of_two(attempts);
    if (factor < 0) {
        return cap;
    }
    const std::int64_t product = wrapping_product(base_delay.count(), factor);
    return product < 0 ? cap : std::min(product, cap);
}

}  // namespace zephran::common
