// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace zephran {

/// A time of the wall clock that is waited for. A clock that is set back does not prolong the wait:
/// a deadline that is further away than when it was set counts as reached.
class Deadline {
public:
    using time_point = std::chrono::system_clock::time_point;

    /// One that has long been reached.
    Deadline() = default;
    /// @param set_at the time at which it is set
    Deadline(time_point deadline, time_point set_at) : time{deadline}, wait{deadline - set_at} {}

    [[nodiscard]] time_point when() const { return time; }
    [[nodiscard]] bool is_reached(time_point now) const { return time <= now || is_too_far(now); }
    /// The same, but false at the deadline itself.
    [[nodiscard]] bool is_past(time_point now) const { return time < now || is_too_far(now); }

private:
    [[nodiscard]] bool is_too_far(time_point now) const { return time - now > wait; }

    time_point time{};
    time_point::duration wait{0};
};

}  // namespace zephran
