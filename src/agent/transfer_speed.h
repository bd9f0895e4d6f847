// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <utility>

namespace zephran {

/// The speed of a transfer, from what has arrived in the last few seconds.
class TransferSpeed {
public:
    using time_point = std::chrono::steady_clock::time_point;

    /// @param bytes that have arrived by now; fewer than before begin another transfer
    void note(time_point now, std::uint64_t bytes) {
        if (!samples.empty() && bytes < samples.back().second) {
            samples.clear();
        }
        samples.emplace_back(now, bytes);
        while (now - samples.front().first > span) {
            samples.pop_front();
        }
    }
    void reset() { samples.clear(); }

    /// Bytes a second; none until two moments can be compared.
    [[nodiscard]] std::optional<std::uint64_t> per_second() const {
        using std::chrono::milliseconds;
        constexpr std::uint64_t milliseconds_per_second = 1000;
        if (samples.empty()) {
            return std::nullopt;
        }
        const auto time =
            std::chrono::duration_cast<milliseconds>(samples.back().first - samples.front().first);
        if (time.count() <= 0) {
            return std::nullopt;
        }
        return (samples.back().second - samples.front().second) * milliseconds_per_second /
               static_cast<std::uint64_t>(time.count());
    }

private:
    static constexpr std::chrono::seconds span{5};

    std::deque<std::pair<time_point, std::uint64_t>> samples;
};

}  // namespace zephran
