// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

/// The clock that several programs share, and how time passes on it.
namespace virtual_time {

using Nanoseconds = std::int64_t;

constexpr Nanoseconds millisecond = 1'000'000;
constexpr Nanoseconds second = 1'000'000'000;

/// What the file of a clock contains, in the byte order of the machine; devkit/virtual_clock.py
/// writes it.
struct Page {
    static constexpr std::uint64_t expected_magic = 0x31454d49544e5256;

    std::uint64_t magic;
    /// The clock that never goes back.
    std::atomic<Nanoseconds> monotonic;
    /// What the wall clock shows beyond that, since 1970.
    std::atomic<Nanoseconds> wall_offset;
    /// No wait moves the clock further than to this time of the monotonic clock.
    std::atomic<Nanoseconds> limit;
    /// How many seconds of this clock a second takes at most, where something outside may still
    /// happen.
    std::atomic<std::int64_t> speed;
};

static_assert(std::atomic<Nanoseconds>::is_always_lock_free);

/// The clock in the file that ZEPHRAN_VIRTUAL_TIME names, or nullptr: then everything is as without
/// this library. A file that is no clock ends the program, as it would run on another time than its
/// test believes.
[[nodiscard]] Page* page();

/// The monotonic clock of an existing page.
[[nodiscard]] inline Nanoseconds now() {
    return page()->monotonic;
}

/// Moves a clock forward to this time, or to its limit if that is earlier; never back.
void raise(Page& clock, Nanoseconds time);

}  // namespace virtual_time
