// SPDX-License-Identifier: Apache-2.0
// What a program is told when it asks for the time.
#include <cerrno>

#include <sys/time.h>

#include "system.h"

namespace virtual_time {

Nanoseconds real_now() {
    timespec time{};
    VIRTUAL_TIME_REAL(clock_gettime)(CLOCK_MONOTONIC, &time);
    return nanoseconds(time);
}

namespace {

Nanoseconds wall_now() {
    return page()->monotonic + page()->wall_offset;
}

}  // namespace
}  // namespace virtual_time

using namespace virtual_time;

VIRTUAL_TIME_EXPORT int clock_gettime(clockid_t clock, timespec* result) noexcept {
    if (page() != nullptr) {
        switch (clock) {
            case CLOCK_REALTIME:
            case CLOCK_REALTIME_COARSE:
            case CLOCK_TAI:
                *result = to_timespec(wall_now());
                return 0;
            case CLOCK_MONOTONIC:
            case CLOCK_MONOTONIC_COARSE:
            case CLOCK_MONOTONIC_RAW:
            case CLOCK_BOOTTIME:
                *result = to_timespec(now());
                return 0;
            default:
                break;
        }
    }
    return VIRTUAL_TIME_REAL(clock_gettime)(clock, result);
}

VIRTUAL_TIME_EXPORT int gettimeofday(timeval* result, void* zone) noexcept {
    if (page() == nullptr) {
        return VIRTUAL_TIME_REAL(gettimeofday)(result, zone);
    }
    const timespec time = to_timespec(wall_now());
    *result = {time.tv_sec, static_cast<suseconds_t>(time.tv_nsec / 1000)};
    return 0;
}

VIRTUAL_TIME_EXPORT time_t time(time_t* result) noexcept {
    if (page() == nullptr) {
        return VIRTUAL_TIME_REAL(time)(result);
    }
    const time_t seconds = to_timespec(wall_now()).tv_sec;
    if (result != nullptr) {
        *result = seconds;
    }
    return seconds;
}
