// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "simulated_time.h"

namespace zephran::simulation {

/// The requests of a fleet, second by second.
class Traffic {
public:
    explicit Traffic(std::chrono::seconds duration)
        : requests_(static_cast<std::size_t>(duration.count())) {}

    /// Counts a request, unless it comes after the end.
    /// @returns how many have come in that second, this one included; 0 after the end
    std::uint32_t count(Milliseconds since_start);

    [[nodiscard]] const std::vector<std::uint32_t>& requests() const { return requests_; }
    /// The most within one second from `begin` on, and that second.
    struct Peak {
        std::uint32_t requests = 0;
        std::size_t second = 0;
    };
    [[nodiscard]] Peak peak(std::size_t begin, std::size_t end) const;
    /// A second's mean from `begin` to before `end`.
    [[nodiscard]] double mean(std::size_t begin, std::size_t end) const;

private:
    std::vector<std::uint32_t> requests_;
};

}  // namespace zephran::simulation
