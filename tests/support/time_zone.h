// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <ctime>
#include <string>

namespace zephran {

/// Central European time with its daylight saving time, without need of a time zone database.
constexpr const char* central_european_time = "CET-1CEST,M3.5.0,M10.5.0/3";

/// Another local time zone for the process while the object lives.
class TimeZone {
public:
    explicit TimeZone(const char* name) {
        if (const char* const current = std::getenv("TZ")) {
            had_previous = true;
            previous = current;
        }
        setenv("TZ", name, 1);
        tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone(TimeZone&&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    TimeZone& operator=(TimeZone&&) = delete;
    ~TimeZone() {
        if (had_previous) {
            setenv("TZ", previous.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

private:
    bool had_previous = false;
    std::string previous;
};

}  // namespace zephran
