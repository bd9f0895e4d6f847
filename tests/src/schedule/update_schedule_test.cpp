// SPDX-License-Identifier: Apache-2.0
#include "schedule/update_schedule.h"

#include <ctime>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "support/time_zone.h"

namespace zephran {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using time_point = UpdateSchedule::time_point;

class UpdateScheduleTest : public testing::Test {
protected:
    // A local time in 2026.
    static time_point at(int month, int day, int hour, int minute = 0, int second = 0) {
        std::tm local{};
        local.tm_year = 126;
        local.tm_mon = month - 1;
        local.tm_mday = day;
        local.tm_hour = hour;
        local.tm_min = minute;
        local.tm_sec = second;
        local.tm_isdst = -1;
        return std::chrono::system_clock::from_time_t(std::mktime(&local));
    }

    static UpdateSchedule window(std::uint32_t weekdays, int start, int end) {
        UpdateSchedule schedule;
        schedule.weekdays = weekdays;
        schedule.set_hours(start, end);
        return schedule;
    }

    // An engine whose next draw from 0 to the limit yields this number.
    static RandomEngine engine_that_draws(minutes::rep wanted, minutes::rep limit) {
        for (unsigned int seed = 1; seed < 2147483000U; seed += 997) {
            RandomEngine engine{seed};
            if (std::uniform_int_distribution<minutes::rep>{0, limit}(engine) == wanted) {
                return RandomEngine{seed};
            }
        }
        throw std::logic_error{"no engine draws this number"};
    }

    const std::uint32_t monday = to_bit(Weekday::Monday);
    const std::uint32_t friday = to_bit(Weekday::Friday);
    const std::uint32_t sunday = to_bit(Weekday::Sunday);

private:
    TimeZone zone{central_european_time};
};

TEST_F(UpdateScheduleTest, AllowsAllTimesByDefault) {
    const UpdateSchedule schedule;

    EXPECT_EQ(schedule.weekdays, 127U);
    EXPECT_EQ(schedule.get_start_hour(), 0);
    EXPECT_EQ(schedule.get_end_hour(), 24);
    for (int day = 8; day < 15; ++day) {
        EXPECT_TRUE(schedule.is_allowed_on(at(11, day, 0))) << day;
        EXPECT_TRUE(schedule.is_allowed_on(at(11, day, 23, 59, 59))) << day;
    }
}

TEST_F(UpdateScheduleTest, EveryWeekdayHasItsBit) {
    // The eighth of November is a Sunday.
    for (int day = 0; day < 7; ++day) {
        const auto schedule = window(1U << static_cast<unsigned int>(day), 0, 24);
        for (int other = 0; other < 7; ++other) {
            EXPECT_EQ(schedule.is_allowed_on(at(11, 8 + other, 12)), day == other)
                << day << ' ' << other;
        }
    }
}

TEST_F(UpdateScheduleTest, EmptyWindowIsRejected) {
    UpdateSchedule schedule;
    schedule.set_hours(3, 4);
    try {
        schedule.set_hours(5, 5);
        FAIL() << "nothing was thrown";
    } catch (const EmptyHoursException& e) {
        EXPECT_STREQ(e.what(), "Specified hours yield empty time interval");
        EXPECT_EQ(*boost::get_error_info<start_hour_tag>(e), 5);
        EXPECT_EQ(*boost::get_error_info<end_hour_tag>(e), 5);
    }
    EXPECT_THROW(schedule.set_hours(23, 1), EmptyHoursException);
    EXPECT_EQ(schedule.get_start_hour(), 3);
    EXPECT_EQ(schedule.get_end_hour(), 4);
}

TEST_F(UpdateScheduleTest, HoursOutOfRangeAreRejected) {
    UpdateSchedule schedule;
    try {
        schedule.set_hours(-1, 5);
        FAIL() << "nothing was thrown";
    } catch (const HoursOutOfRangeException& e) {
        EXPECT_STREQ(e.what(), "Hours are out of range, expected 0-24");
        EXPECT_EQ(*boost::get_error_info<start_hour_tag>(e), -1);
        EXPECT_EQ(*boost::get_error_info<end_hour_tag>(e), 5);
    }
    EXPECT_THROW(schedule.set_hours(0, 25), HoursOutOfRangeException);
    EXPECT_THROW(schedule.set_hours(24, 25), HoursOutOfRangeException);
    EXPECT_NO_THROW(schedule.set_hours(23, 24));
    EXPECT_NO_THROW(schedule.set_hours(0, 1));
}

TEST_F(UpdateScheduleTest, WindowMayEndAtMidnight) {
    const auto schedule = window(friday, 22, 24);

    EXPECT_FALSE(schedule.is_allowed_on(at(11, 13, 21, 59, 59)));
    EXPECT_TRUE(schedule.is_allowed_on(at(11, 13, 22)));
    EXPECT_TRUE(schedule.is_allowed_on(at(11, 13, 23, 59, 59)));
    EXPECT_FALSE(schedule.is_allowed_on(at(11, 14, 0)));
}

TEST_F(UpdateScheduleTest, ClosingHourIsOutside) {
    const auto schedule = window(monday, 9, 17);

    EXPECT_TRUE(schedule.is_allowed_on(at(11, 16, 16, 59, 59)));
    EXPECT_FALSE(schedule.is_allowed_on(at(11, 16, 17)));
}

TEST_F(UpdateScheduleTest, NextWindowIsTodayIfItIsStillAhead) {
    const auto schedule = window(monday, 9, 17);

    EXPECT_EQ(schedule.next_window_start(at(11, 16, 8, 59, 59)), at(11, 16, 9));
}

TEST_F(UpdateScheduleTest, NextWindowOpensStrictlyLater) {
    const auto schedule = window(monday, 9, 17);

    EXPECT_EQ(schedule.next_window_start(at(11, 16, 9)), at(11, 23, 9));
    EXPECT_EQ(schedule.next_window_start(at(11, 16, 12)), at(11, 23, 9));
    EXPECT_EQ(schedule.next_window_start(at(11, 18, 12)), at(11, 23, 9));
}

TEST_F(UpdateScheduleTest, NextWindowMayBeInTheNextMonthOrYear) {
    const auto schedule = window(monday, 9, 17);
    const auto first_monday_of_2027 = at(12, 35, 9);

    EXPECT_EQ(schedule.next_window_start(at(11, 24, 0)), at(11, 30, 9));
    EXPECT_EQ(schedule.next_window_start(at(11, 30, 12)), at(12, 7, 9));
    EXPECT_EQ(schedule.next_window_start(at(12, 28, 12)), first_monday_of_2027);
}

TEST_F(UpdateScheduleTest, ScheduleWithoutDaysHasNoNextWindow) {
    const auto now = at(11, 16, 12);
    for (const std::uint32_t weekdays : {0U, 128U, 0xFFFFFF80U}) {
        const auto schedule = window(weekdays, 9, 17);
        auto engine = make_random_engine(5);

        EXPECT_FALSE(schedule.is_allowed_on(now));
        EXPECT_EQ(schedule.next_window_start(now), time_point::max());
        EXPECT_GE(schedule.pick_update_delay(engine, now), minutes{0});
    }
}

TEST_F(UpdateScheduleTest, RemainingTimeIsInWholeMinutes) {
    const auto schedule = window(monday, 9, 17);

    EXPECT_EQ(schedule.get_remaining_time(at(11, 16, 10)), minutes{420});
    EXPECT_EQ(schedule.get_remaining_time(at(11, 16, 16, 58, 1)), minutes{1});
    EXPECT_EQ(schedule.get_remaining_time(at(11, 16, 16, 59, 59)), minutes{0});
}

TEST_F(UpdateScheduleTest, NoTimeRemainsOutsideOfTheWindow) {
    const auto schedule = window(monday, 9, 17);

    EXPECT_EQ(schedule.get_remaining_time(at(11, 16, 8)), minutes{0});
    EXPECT_EQ(schedule.get_remaining_time(at(11, 16, 17)), minutes{0});
    EXPECT_EQ(schedule.get_remaining_time(at(11, 17, 10)), minutes{0});
}

TEST_F(UpdateScheduleTest, RemainingTimeRollsOverMidnight) {
    EXPECT_EQ(window(friday, 22, 24).get_remaining_time(at(11, 13, 22, 30)), minutes{90});
}

TEST_F(UpdateScheduleTest, WindowEndsAtItsClosingHour) {
    const UpdateSchedule schedule = window(monday, 22, 24);

    EXPECT_EQ(schedule.window_end(at(6, 1, 22, 30, 59)), at(6, 2, 0));
    EXPECT_EQ(schedule.window_end(at(6, 1, 22)), at(6, 2, 0));
}

TEST_F(UpdateScheduleTest, NoWindowEndsOutsideOfIt) {
    const UpdateSchedule schedule = window(monday, 22, 24);

    EXPECT_EQ(schedule.window_end(at(6, 1, 21, 59, 59)), at(6, 1, 21, 59, 59));
    EXPECT_EQ(schedule.window_end(at(6, 2, 22)), at(6, 2, 22));
    EXPECT_EQ(schedule.window_end(time_point::max()), time_point::max());
}

TEST_F(UpdateScheduleTest, DelayThatFitsIsUsedAsDrawn) {
    const auto schedule = window(monday, 9, 17);
    for (const minutes::rep drawn : {0, 1, 419, 420}) {
        auto engine = engine_that_draws(drawn, 480);

        EXPECT_EQ(schedule.pick_update_delay(engine, at(11, 16, 10)), minutes{drawn});
    }
}

TEST_F(UpdateScheduleTest, DelayPastTheEndLeadsIntoTheNextWindow) {
    const auto schedule = window(monday, 9, 17);
    const auto now = at(11, 16, 10);
    const minutes until_next_opening = hours{7 * 24 - 1};
    for (const minutes::rep drawn : {421, 450, 480}) {
        auto engine = engine_that_draws(drawn, 480);

        const auto delay = schedule.pick_update_delay(engine, now);

        EXPECT_EQ(delay, until_next_opening + minutes{drawn});
    }
}

TEST_F(UpdateScheduleTest, DelayFromOutsideIsCountedInWholeMinutes) {
    const auto schedule = window(monday, 9, 17);
    auto engine = engine_that_draws(30, 480);

    const auto delay = schedule.pick_update_delay(engine, at(11, 16, 8, 57, 30));

    EXPECT_EQ(delay, minutes{32});
}

TEST_F(UpdateScheduleTest, DelayFollowsTheEngine) {
    const UpdateSchedule schedule;
    auto engine = make_random_engine(99);
    RandomEngine reference{99};
    const auto now = at(11, 16, 0);

    for (int i = 0; i < 100; ++i) {
        std::uniform_int_distribution<minutes::rep> distribution{0, 1440};
        EXPECT_EQ(schedule.pick_update_delay(engine, now), minutes{distribution(reference)});
    }
}

TEST_F(UpdateScheduleTest, DayIsAnHourShorterWhenDaylightSavingTimeBegins) {
    const auto midnight = at(3, 29, 0);

    EXPECT_EQ(UpdateSchedule{}.get_remaining_time(midnight), hours{23});
    EXPECT_EQ(window(sunday, 1, 3).get_remaining_time(midnight + hours{1}), hours{1});
    EXPECT_EQ(window(sunday, 9, 17).next_window_start(midnight), midnight + hours{8});
}

TEST_F(UpdateScheduleTest, DayIsAnHourLongerWhenDaylightSavingTimeEnds) {
    const auto midnight = at(10, 25, 0);

    EXPECT_EQ(UpdateSchedule{}.get_remaining_time(midnight), hours{25});
    EXPECT_EQ(window(sunday, 1, 4).get_remaining_time(midnight + hours{1}), hours{4});
    EXPECT_EQ(window(sunday, 9, 17).next_window_start(midnight - hours{12}), midnight + hours{10});
}

TEST_F(UpdateScheduleTest, SkippedHourIsNoWindow) {
    const auto schedule = window(sunday, 2, 3);

    EXPECT_EQ(schedule.next_window_start(at(3, 28, 12)), at(4, 5, 2));
}

TEST_F(UpdateScheduleTest, RemainingTimeIsNeverNegativeWhenTheClosingHourIsSkipped) {
    const auto remaining = window(sunday, 1, 2).get_remaining_time(at(3, 29, 1, 30));

    EXPECT_GE(remaining, minutes{0});
    EXPECT_LE(remaining, minutes{30});
}

TEST(Weekday, IsWrittenAsItsName) {
    std::ostringstream text;

    text << Weekday::Sunday << Weekday::Monday << Weekday::Tuesday << Weekday::Wednesday
         << Weekday::Thursday << Weekday::Friday << Weekday::Saturday;

    EXPECT_EQ(text.str(), "SundayMondayTuesdayWednesdayThursdayFridaySaturday");
}

TEST(Weekday, SetOfDaysHasNoName) {
    std::ostringstream text;

    EXPECT_THROW(text << static_cast<Weekday>(3), UnknownWeekdayException);
    EXPECT_THROW(text << static_cast<Weekday>(0), UnknownWeekdayException);
    EXPECT_THROW(text << static_cast<Weekday>(128), UnknownWeekdayException);
}

TEST(Weekday, EveryNameIsReadBack) {
    for (unsigned int day = 0; day < 7; ++day) {
        const auto weekday = static_cast<Weekday>(1U << day);
        std::stringstream text;
        text << weekday << "\nnext line";
        Weekday parsed{};

        text >> parsed;

        EXPECT_EQ(parsed, weekday);
    }
}

TEST(Weekday, OtherNamesAreUnknown) {
    for (const char* const line : {"", "monday", "Mon", " Monday", "Monday ", "Monday Friday"}) {
        std::istringstream text{line};
        Weekday parsed{};
        try {
            text >> parsed;
            FAIL() << "accepted: " << line;
        } catch (const UnknownWeekdayException& e) {
            EXPECT_STREQ(e.what(), "Unknown weekday");
            EXPECT_EQ(*boost::get_error_info<weekday_tag>(e), line);
        }
    }
}

}  // namespace
}  // namespace zephran
