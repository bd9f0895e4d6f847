// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace zephran {

/// The duration in whole minutes, rounded towards zero. A duration that `Minutes` cannot hold
/// becomes its limit: the standard asks of std::chrono::minutes for 29 bits only, and a libc++ on a
/// 32-bit system has 32, fewer than the time until time_point::max() needs there.
template <class Minutes = std::chrono::minutes, class Rep, class Period>
constexpr Minutes whole_minutes(const std::chrono::duration<Rep, Period>& duration) {
    using WideMinutes = std::chrono::duration<std::int64_t, typename Minutes::period>;
    const auto exact = std::chrono::duration_cast<WideMinutes>(duration);
    const auto limited = std::clamp<WideMinutes>(exact, Minutes::min(), Minutes::max());
    return Minutes{static_cast<typename Minutes::rep>(limited.count())};
}

}  // namespace zephran
