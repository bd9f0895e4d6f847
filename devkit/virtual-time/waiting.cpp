// SPDX-License-Identifier: Apache-2.0
#include "waiting.h"

#include <algorithm>
#include <limits>

#include "system.h"

namespace virtual_time {
namespace {

constexpr Nanoseconds longest_slice = 5 * millisecond;
constexpr Nanoseconds shortest_slice = millisecond;

}  // namespace

Wait::Wait(Nanoseconds time, Pace pace) : deadline{time}, real_end{real_now()} {
    const Nanoseconds duration = std::max<Nanoseconds>(time - now(), 0);
    const Nanoseconds lasts = pace == Pace::real ? duration : duration / page()->speed;
    real_end += std::min(lasts, std::numeric_limits<Nanoseconds>::max() - real_end);
}

Nanoseconds Wait::slice() const {
    return std::clamp(real_end - real_now(), shortest_slice, longest_slice);
}

bool Wait::is_over() const {
    if (real_now() >= real_end) {
        raise(*page(), deadline);
    }
    return now() >= deadline;
}

Nanoseconds Wait::after(Nanoseconds duration) {
    const Nanoseconds current = now();
    return current + std::min(duration, std::numeric_limits<Nanoseconds>::max() - current);
}

bool sleep_until(Nanoseconds deadline) {
    const Wait wait{deadline, Pace::quick};
    while (now() < deadline) {
        if (!is_accompanied()) {
            raise(*page(), deadline);
        }
        if (wait.is_over()) {
            break;
        }
        const timespec pause = to_timespec(shortest_slice);
        if (VIRTUAL_TIME_REAL(nanosleep)(&pause, nullptr) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace virtual_time
