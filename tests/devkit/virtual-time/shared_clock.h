// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include "page.h"

namespace virtual_time {

/// The clock that this program follows; main.cpp makes it.
Page& shared_clock();

/// The system's monotonic clock, which nothing stands in front of.
Nanoseconds system_now();

/// A clock at the beginning of 2026 that runs freely, and what passes on it.
class SharedClock : public ::testing::Test {
public:
    SharedClock();

protected:
    static constexpr Nanoseconds begin_of_2026 = 1'767'225'600 * second;
    static constexpr Nanoseconds free = INT64_MAX;

    [[nodiscard]] Nanoseconds passed() const { return clock.monotonic - started; }
    [[nodiscard]] Nanoseconds really_passed() const { return system_now() - really_started; }
    void set_wall(Nanoseconds time) { clock.wall_offset = time - clock.monotonic; }

    Page& clock{shared_clock()};

private:
    Nanoseconds started{clock.monotonic};
    Nanoseconds really_started{system_now()};
};

}  // namespace virtual_time
