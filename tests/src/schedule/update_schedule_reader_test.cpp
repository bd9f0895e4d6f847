// SPDX-License-Identifier: Apache-2.0
#include "schedule/update_schedule_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/update_schedule.h"
#include "store/device_store.h"
#include "support/captured_log.h"
#include "support/memory_config.h"

namespace zephran {
namespace {

using testing::HasSubstr;
using testing::Not;

class UpdateScheduleReaderTest : public testing::Test {
protected:
    std::unique_ptr<UpdateSchedule> read() {
        const CapturedLog capture;
        auto schedule = read_update_schedule(DeviceStore{config});
        log = capture.text();
        return schedule;
    }

    void expect_disabled_by(const std::string& exception_text) {
        EXPECT_EQ(read(), nullptr);
        EXPECT_THAT(
            log, testing::ContainsRegex(" DEBUG update_schedule_reader\\.cpp:[0-9]+ "
                                        "read_update_schedule_from_config: event=exception_caught "
                                        "action=read_update_schedule_from_config what="));
        EXPECT_THAT(log, HasSubstr(exception_text));
        EXPECT_THAT(
            log, testing::ContainsRegex(" INFO update_schedule_reader\\.cpp:[0-9]+ "
                                        "read_update_schedule_from_config: "
                                        "message=disabling update schedule due to exception\n$"));
    }

    MemoryConfig config{{{"zephran.schedule.enabled", "1"},
                         {"zephran.schedule.daysofweek", "Monday Friday"},
                         {"zephran.schedule.starttime", "08:30"},
                         {"zephran.schedule.stoptime", "17:45"}}};
    std::string log;
};

TEST_F(UpdateScheduleReaderTest, ReadsDaysAndHours) {
    const auto schedule = read();

    ASSERT_NE(schedule, nullptr);
    EXPECT_EQ(schedule->weekdays, to_bit(Weekday::Monday) | to_bit(Weekday::Friday));
    EXPECT_EQ(schedule->get_start_hour(), 8);
    EXPECT_EQ(schedule->get_end_hour(), 17);
    EXPECT_THAT(log, testing::ContainsRegex(
                         " INFO update_schedule_reader\\.cpp:[0-9]+ "
                         "read_update_schedule_from_config: "
                         "action=read_update_schedule_from_config start_hour=8 end_hour=17 "
                         "weekdays=34\n$"));
}

TEST_F(UpdateScheduleReaderTest, AnythingButOneMeansDisabled) {
    for (const char* const value : {"0", "", "true", "11", " 1", "1 "}) {
        config.values["zephran.schedule.enabled"] = value;

        EXPECT_EQ(read(), nullptr) << value;

        EXPECT_THAT(log, testing::ContainsRegex(
                             " INFO update_schedule_reader\\.cpp:[0-9]+ read_update_schedule: "
                             "action=read_update_schedule message=schedule disabled in config\n$"));
    }
}

TEST_F(UpdateScheduleReaderTest, ConsecutiveSpacesAreOneSeparator) {
    config.values["zephran.schedule.daysofweek"] = "  Monday   Friday  Monday ";

    const auto schedule = read();

    ASSERT_NE(schedule, nullptr);
    EXPECT_EQ(schedule->weekdays, to_bit(Weekday::Monday) | to_bit(Weekday::Friday));
}

TEST_F(UpdateScheduleReaderTest, WithoutDaysThereIsNoSchedule) {
    for (const char* const days : {"", " ", "    "}) {
        config.values["zephran.schedule.daysofweek"] = days;

        EXPECT_EQ(read(), nullptr);

        EXPECT_THAT(log, HasSubstr(" INFO "));
        EXPECT_THAT(log, HasSubstr("message=no weekdays specified\n"));
        EXPECT_THAT(log, Not(HasSubstr("exception_caught")));
    }
}

TEST_F(UpdateScheduleReaderTest, UnknownDayDisablesTheSchedule) {
    for (const char* const days : {"Monday friday", "Monday,Friday", "Monday\nFriday", "Someday"}) {
        config.values["zephran.schedule.daysofweek"] = days;

        expect_disabled_by("Unknown weekday");
    }
}

TEST_F(UpdateScheduleReaderTest, MissingOptionDisablesTheSchedule) {
    const auto complete = config.values;
    for (const auto& option : complete) {
        config.values = complete;
        config.values.erase(option.first);

        expect_disabled_by("UCI package was not found");

        EXPECT_THAT(log, HasSubstr(option.first));
    }
}

TEST_F(UpdateScheduleReaderTest, UnavailableConfigurationDisablesTheSchedule) {
    config.unavailable = true;

    expect_disabled_by("UCI package was not found");
}

TEST_F(UpdateScheduleReaderTest, NonNumericHourDisablesTheSchedule) {
    for (const char* const time : {"7:30", "ab:00", "  :00", "7h"}) {
        config.values["zephran.schedule.starttime"] = time;

        expect_disabled_by("bad_lexical_cast");
    }
}

TEST_F(UpdateScheduleReaderTest, TimeShorterThanAnHourIsInvalid) {
    for (const char* const option : {"starttime", "stoptime"}) {
        for (const char* const time : {"", "7"}) {
            const auto complete = config.values;
            config.values[std::string{"zephran.schedule."} + option] = time;

            EXPECT_EQ(read(), nullptr) << option;

            EXPECT_THAT(log, HasSubstr(" INFO "));
            EXPECT_THAT(log, HasSubstr("message=invalid config values\n"));
            EXPECT_THAT(log, Not(HasSubstr("exception_caught")));
            config.values = complete;
        }
    }
}

TEST_F(UpdateScheduleReaderTest, HourWithoutMinutesIsEnough) {
    config.values["zephran.schedule.starttime"] = "07";
    config.values["zephran.schedule.stoptime"] = "21";

    const auto schedule = read();

    ASSERT_NE(schedule, nullptr);
    EXPECT_EQ(schedule->get_start_hour(), 7);
    EXPECT_EQ(schedule->get_end_hour(), 21);
}

TEST_F(UpdateScheduleReaderTest, EmptyWindowDisablesTheSchedule) {
    config.values["zephran.schedule.stoptime"] = "08:59";

    expect_disabled_by("Specified hours yield empty time interval");
}

TEST_F(UpdateScheduleReaderTest, HoursBeyondTheDayDisableTheSchedule) {
    config.values["zephran.schedule.stoptime"] = "25:00";

    expect_disabled_by("Hours are out of range, expected 0-24");
}

TEST_F(UpdateScheduleReaderTest, MidnightClosesTheDay) {
    config.values["zephran.schedule.stoptime"] = "24:00";

    const auto schedule = read();

    ASSERT_NE(schedule, nullptr);
    EXPECT_EQ(schedule->get_end_hour(), 24);
}

TEST_F(UpdateScheduleReaderTest, NothingIsWritten) {
    ASSERT_NE(read(), nullptr);

    EXPECT_THAT(config.writes, testing::IsEmpty());
}

}  // namespace
}  // namespace zephran
