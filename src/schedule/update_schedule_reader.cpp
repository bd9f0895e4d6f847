#include "schedule/update_schedule_reader.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

#include <boost/exception/diagnostic_information.hpp>
#include <boost/lexical_cast.hpp>

#include "common/logprint.h"
#include "config.h"
#include "schedule/update_schedule.h"

namespace zephran {

namespace {

constexpr const char* reading_function = "read_update_schedule_from_config";
constexpr std::size_t hour_length = 2;

std::string get_schedule_option(Config& config, const char* option) {
    return config.get_option(std::string{"zephran.schedule."} + option);
}

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

std::unique_ptr<UpdateSchedule> read_update_schedule_from_config(Config& config) {
    const auto days = get_schedule_option(config, "daysofweek");
    const auto start_time = get_schedule_option(config, "starttime");
    const auto stop_time = get_schedule_option(config, "stoptime");
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

std::unique_ptr<UpdateSchedule> read_update_schedule(Config& config) {
    try {
        if (get_schedule_option(config, "enabled") != "1") {
            ZLOG_INFO("action", "read_update_schedule", "message", "schedule disabled in config");
            return nullptr;
        }
        return read_update_schedule_from_config(config);
    } catch (const std::exception& e) {
        ZLOG_DEBUG_AS(reading_function, "event", "exception_caught", "action", reading_function,
                      "what", boost::diagnostic_information(e));
        ZLOG_INFO_AS(reading_function, "message", "disabling update schedule due to exception");
        return nullptr;
    }
}

}  // namespace zephran
