// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "page.h"
#include "threads.h"

namespace virtual_time {

/// How long a wait may really last before the clock is moved to its end.
enum class Pace {
    quick,  ///< the clock's speed: for what comes over the network or from a child
    real    ///< as long as it would without this library: for threads and neighbours on the same
            ///< machine
};

/// One wait until a time of the monotonic clock. Whoever moves the clock ends it, too.
class Wait {
public:
    Wait(Nanoseconds time, Pace pace);

    /// How long to wait for real until the next look at the clock.
    [[nodiscard]] Nanoseconds slice() const;

    /// Whether the time has come; moves the clock to it if the wait has really lasted long enough.
    [[nodiscard]] bool is_over() const;

    /// A time this far from now, without overflow.
    [[nodiscard]] static Nanoseconds after(Nanoseconds duration);

private:
    Nanoseconds deadline;
    Nanoseconds real_end;
};

/// Waits in slices; `attempt` takes their length and returns 0 if nothing has come in it.
template <class Attempt>
auto wait_in_slices(Nanoseconds deadline, Pace pace, const Attempt& attempt) {
    const Rest rest{pace == Pace::real};
    const Wait wait{deadline, pace};
    auto result = attempt(wait.slice());
    while (result == 0 && !wait.is_over()) {
        result = attempt(wait.slice());
    }
    return result;
}

/// Sleeps until a time of the monotonic clock. False if a signal has ended it early.
bool sleep_until(Nanoseconds deadline);

}  // namespace virtual_time
