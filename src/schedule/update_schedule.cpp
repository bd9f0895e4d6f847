// SPDX-License-Identifier: Apache-2.0
#include "schedule/update_schedule.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>
#include <istream>
#include <ostream>
#include <random>
#include <stdexcept>

#include "common/exception.h"
#include "schedule/whole_minutes.h"

namespace zephran {

namespace {

ZEPHRAN_REPORTED(weekday);
ZEPHRAN_REPORTED(start_hour);
ZEPHRAN_REPORTED(end_hour);

using std::chrono::minutes;
using std::chrono::system_clock;
using time_point = UpdateSchedule::time_point;

struct NamedWeekday {
    Weekday day;
    const char* name;
};

// In the order of tm_wday.
constexpr std::array<NamedWeekday, 7> named_weekdays{{{Weekday::Sunday, "Sunday"},
                                                      {Weekday::Monday, "Monday"},
                                                      {Weekday::Tuesday, "Tuesday"},
                                                      {Weekday::Wednesday, "Wednesday"},
                                                      {Weekday::Thursday, "Thursday"},
                                                      {Weekday::Friday, "Friday"},
                                                      {Weekday::Saturday, "Saturday"}}};

std::tm local_time(const time_point& time) {
    const std::time_t seconds = system_clock::to_time_t(time);
    std::tm broken_down{};
    if (localtime_r(&seconds, &broken_down) == nullptr) {
        ZEPHRAN_THROW(std::range_error{"localtime_r"});
    }
    return broken_down;
}

// The day may exceed the length of the month: mktime() normalises it, and determines whether
// daylight saving time applies.
time_point full_hour(const std::tm& date, int days_later, int hour) {
    std::tm broken_down{};
    broken_down.tm_year = date.tm_year;
    broken_down.tm_mon = date.tm_mon;
    broken_down.tm_mday = date.tm_mday + days_later;
    broken_down.tm_hour = hour;
    broken_down.tm_isdst = -1;
    return system_clock::from_time_t(std::mktime(&broken_down));
}

}  // namespace

Weekday parse_weekday(const std::string& name) {
    const auto* const found =
        std::find_if(named_weekdays.begin(), named_weekdays.end(),
                     [&name](const NamedWeekday& entry) { return name == entry.name; });
    if (found == named_weekdays.end()) {
        ZEPHRAN_THROW(UnknownWeekdayException{} << weekday_tag{name});
    }
    return found->day;
}

std::ostream& operator<<(std::ostream& stream, Weekday day) {
    const auto* const found =
        std::find_if(named_weekdays.begin(), named_weekdays.end(),
                     [day](const NamedWeekday& entry) { return day == entry.day; });
    if (found == named_weekdays.end()) {
        ZEPHRAN_THROW(UnknownWeekdayException{} << weekday_tag{std::to_string(to_bit(day))});
    }
    return stream << found->name;
}

std::istream& operator>>(std::istream& stream, Weekday& day) {
    std::string line;
    std::getline(stream, line);
    day = parse_weekday(line);
    return stream;
}

void UpdateSchedule::set_hours(int start, int end) {
    if (start >= end) {
        ZEPHRAN_THROW(EmptyHoursException{} << start_hour_tag{start} << end_hour_tag{end});
    }
    if (start < 0 || start > 23 || end > 24) {
        ZEPHRAN_THROW(HoursOutOfRangeException{} << start_hour_tag{start} << end_hour_tag{end});
    }
    start_hour = start;
    end_hour = end;
}

bool UpdateSchedule::is_allowed_on(const time_point& time) const {
    const std::tm local = local_time(time);
    const auto& today = named_weekdays.at(static_cast<std::size_t>(local.tm_wday));
    return (weekdays & to_bit(today.day)) != 0 && start_hour <= local.tm_hour &&
           local.tm_hour < end_hour;
}

UpdateSchedule::time_point UpdateSchedule::next_window_start(const time_point& time) const {
    // Every window opens within eight days, unless its opening hour is skipped by the change to
    // daylight saving time.
    constexpr int days_to_try = 22;
    const std::tm today = local_time(time);
    for (int days_later = 0; days_later < days_to_try; ++days_later) {
        const time_point opening = full_hour(today, days_later, start_hour);
        if (opening > time && is_allowed_on(opening)) {
            return opening;
        }
    }
    return time_point::max();
}

minutes UpdateSchedule::get_remaining_time(const time_point& time) const {
    return whole_minutes(window_end(time) - time);
}

UpdateSchedule::time_point UpdateSchedule::window_end(const time_point& time) const {
    if (time == time_point::max() || !is_allowed_on(time)) {
        return time;
    }
    // The closing hour may be skipped by the change to daylight saving time.
    return std::max(full_hour(local_time(time), 0, end_hour), time);
}

minutes UpdateSchedule::pick_update_delay(RandomEngine& engine, const time_point& time) const {
    const minutes length = std::chrono::hours{end_hour - start_hour};
    std::uniform_int_distribution<minutes::rep> distribution{0, length.count()};
    const minutes drawn{distribution(engine)};
    if (drawn <= get_remaining_time(time)) {
        return drawn;
    }
    const time_point opening = next_window_start(time);
    const minutes until_opening = whole_minutes(opening - time);
    return opening == time_point::max() ? until_opening : until_opening + drawn;
}

}  // namespace zephran
