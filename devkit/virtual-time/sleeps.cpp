// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>

#include <unistd.h>

#include "system.h"
#include "waiting.h"

using namespace virtual_time;

namespace {

/// Sleeps and returns what is left, 0 if nothing.
Nanoseconds sleep_for(Nanoseconds duration) {
    const Nanoseconds deadline = Wait::after(duration);
    return sleep_until(deadline) ? 0 : std::max<Nanoseconds>(deadline - now(), 1);
}

bool is_invalid(const timespec& time) {
    return time.tv_sec < 0 || time.tv_nsec < 0 || time.tv_nsec >= second;
}

/// 0 or an error number.
int sleep_by(const timespec& duration, timespec* left) {
    if (is_invalid(duration)) {
        return EINVAL;
    }
    const Nanoseconds rest = sleep_for(nanoseconds(duration));
    if (rest != 0 && left != nullptr) {
        *left = to_timespec(rest);
    }
    return rest == 0 ? 0 : EINTR;
}

}  // namespace

VIRTUAL_TIME_EXPORT int nanosleep(const timespec* duration, timespec* left) {
    if (page() == nullptr) {
        return VIRTUAL_TIME_REAL(nanosleep)(duration, left);
    }
    const int error = sleep_by(*duration, left);
    errno = error == 0 ? errno : error;
    return error == 0 ? 0 : -1;
}

VIRTUAL_TIME_EXPORT int clock_nanosleep(clockid_t clock, int flags, const timespec* time,
                                        timespec* left) {
    if (page() == nullptr || (clock != CLOCK_REALTIME && clock != CLOCK_MONOTONIC)) {
        return VIRTUAL_TIME_REAL(clock_nanosleep)(clock, flags, time, left);
    }
    if ((flags & TIMER_ABSTIME) == 0) {
        return sleep_by(*time, left);
    }
    if (is_invalid(*time)) {
        return EINVAL;
    }
    const Nanoseconds offset = clock == CLOCK_REALTIME ? page()->wall_offset.load() : 0;
    return sleep_until(nanoseconds(*time) - offset) ? 0 : EINTR;
}

VIRTUAL_TIME_EXPORT unsigned sleep(unsigned seconds) {
    if (page() == nullptr) {
        return VIRTUAL_TIME_REAL(sleep)(seconds);
    }
    const Nanoseconds left = sleep_for(static_cast<Nanoseconds>(seconds) * second);
    return static_cast<unsigned>((left + second - 1) / second);
}

VIRTUAL_TIME_EXPORT int usleep(useconds_t microseconds) {
    const timespec duration = to_timespec(static_cast<Nanoseconds>(microseconds) * 1000);
    return nanosleep(&duration, nullptr);
}
