// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "common/exception.h"
#include "common/record.h"
#include "schedule/random_engine.h"

namespace zephran {

/// Text that is not the name of a day.
ZEPHRAN_RECORD(weekday, std::string, reported_at(525));
/// Opening hour of an invalid window.
ZEPHRAN_RECORD(start_hour, int, reported_at(530));
/// Closing hour of an invalid window.
ZEPHRAN_RECORD(end_hour, int, reported_at(535));

struct EmptyHoursException : common::Exception {
    EmptyHoursException() : Exception{"Specified hours yield empty time interval"} {}
};
struct HoursOutOfRangeException : common::Exception {
    HoursOutOfRangeException() : Exception{"Hours are out of range, expected 0-24"} {}
};
struct UnknownWeekdayException : common::Exception {
    UnknownWeekdayException() : Exception{"Unknown weekday"} {}
};

/// Each day is one bit; a set of days is their bitwise OR.
enum class Weekday : std::uint32_t {
    Sunday = 1,
    Monday = 2,
    Tuesday = 4,
    Wednesday = 8,
    Thursday = 16,
    Friday = 32,
    Saturday = 64
};

/// The set that contains only this day.
constexpr std::uint32_t to_bit(Weekday day) {
    return static_cast<std::uint32_t>(day);
}

/// Accepts only the English names, capitalized.
/// @throws UnknownWeekdayException with weekday_tag
Weekday parse_weekday(const std::string& name);

/// Writes the English name.
/// @throws UnknownWeekdayException with weekday_tag for a value that is not one day
std::ostream& operator<<(std::ostream& stream, Weekday day);

/// Reads one line as parse_weekday() does.
/// @throws UnknownWeekdayException with weekday_tag
std::istream& operator>>(std::istream& stream, Weekday& day);

/// The weekly window in which deployments may begin: whole hours of local time on some weekdays.
class UpdateSchedule {
public:
    using time_point = std::chrono::system_clock::time_point;

    /// Stores 0 <= start < end <= 24; the window closes when the hour `end` begins.
    /// @throws EmptyHoursException, HoursOutOfRangeException with start_hour_tag and end_hour_tag
    void set_hours(int start, int end);
    [[nodiscard]] int get_start_hour() const { return start_hour; }
    [[nodiscard]] int get_end_hour() const { return end_hour; }

    /// Considers only the day and the hour, not the minutes.
    [[nodiscard]] bool is_allowed_on(const time_point& time) const;

    /// The first time after this one at which the window opens; time_point::max() if it never does.
    [[nodiscard]] time_point next_window_start(const time_point& time) const;

    /// Whole minutes until the window closes, zero outside of it.
    [[nodiscard]] std::chrono::minutes get_remaining_time(const time_point& time) const;

    /// When the window closes that is open at this time; the time itself outside of it, and
    /// time_point::max() for time_point::max().
    [[nodiscard]] time_point window_end(const time_point& time) const;

    /// Picks a random delay for a deployment, so that many devices are spread evenly over the
    /// window. A delay that would end after the window is counted from the start of the next one.
    std::chrono::minutes pick_update_delay(RandomEngine& engine, const time_point& time) const;

    /// OR of the bits of the allowed days.
    std::uint32_t weekdays = 0x7F;

private:
    int start_hour = 0;
    int end_hour = 24;
};

}  // namespace zephran
