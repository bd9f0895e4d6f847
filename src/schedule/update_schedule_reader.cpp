// SPDX-License-Identifier: Apache-2.0
#include "schedule/update_schedule_reader.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

#include <boost/exception/diagnostic_information.hpp>
#include <boost/lexical_cast.hpp>

#include "common/logprint.h"
#include "schedule/update_schedule.h"
#include "store/device_store.h"

namespace zephran {

namespace {

constexpr const char* reading_function = "read_update_schedule_from_config";
constexpr std::size_t hour_length = 2;

std::uint32_t parse_weekdays(const std::string& names) {
    std::uint32_t weekdays = 0;
    for (auto begin = names.find_first_not_of(' '); begin != std::string::npos;) {
        const auto end = names.find(' ', begin);
        weekdays |= to_bit(parse_weekday(names.substr(begin, end - begin)));
        begin = names.find_first_not_of(' ', end);
    }
    return weekdays;
}

int parse_hour(const std::string& time) {
    return boost::lexical_cast<int>(time.substr(0, hour_length));
}

std::unique_ptr<UpdateSchedule> read_update_schedule_from_config(const DeviceStore& store) {
    const auto days = store.schedule_days();
    const auto start_time = store.schedule_start_time();
    const auto stop_time = store.schedule_stop_time();
    auto schedule = std::make_unique<UpdateSchedule>();
    schedule->weekdays = parse_weekdays(days);
    if (schedule->weekdays == 0) {
        ZLOG_INFO("action", reading_function, "message", "no weekdays specified");
        return nullptr;
    }
    if (start_time.size() < hour_length || stop_time.size() < hour_length) {
        ZLOG_INFO("action", reading_function, "message", "invalid config values");
        return nullptr;
    }
    schedule->set_hours(parse_hour(start_time), parse_hour(stop_time));
    ZLOG_INFO("action", reading_function, "start_hour", schedule->get_start_hour(), "end_hour",
              schedule->get_end_hour(), "weekdays", schedule->weekdays);
    return schedule;
}

}  // namespace

std::unique_ptr<UpdateSchedule> read_update_schedule(const DeviceStore& store) {
    try {
        if (!store.is_schedule_enabled()) {
            ZLOG_INFO("action", "read_update_schedule", "message", "schedule disabled in config");
            return nullptr;
        }
        return read_update_schedule_from_config(store);
    } catch (const std::exception& e) {
        ZLOG_DEBUG_AS(reading_function, "event", "exception_caught", "action", reading_function,
                      "what", boost::diagnostic_information(e));
        ZLOG_INFO_AS(reading_function, "message", "disabling update schedule due to exception");
        return nullptr;
    }
}

}  // namespace zephran
