// SPDX-License-Identifier: Apache-2.0
// Waiting for other threads.
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>

#include <linux/futex.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "system.h"
#include "waiting.h"

using namespace virtual_time;

namespace {

Nanoseconds deadline_on(clockid_t clock, const timespec& time) {
    return nanoseconds(time) - (clock == CLOCK_REALTIME ? page()->wall_offset.load() : 0);
}

/// A condition variable does not tell its clock, but no deadline is nearer to the other clock than
/// to its own.
clockid_t guess_clock(const timespec& time) {
    const Nanoseconds wanted = nanoseconds(time);
    const Nanoseconds wall = now() + page()->wall_offset;
    return std::abs(wanted - wall) < std::abs(wanted - now()) ? CLOCK_REALTIME : CLOCK_MONOTONIC;
}

/// `attempt` takes an absolute time of the system's monotonic clock and returns an error number.
template <class Attempt>
int wait_for_threads(Nanoseconds deadline, const Attempt& attempt) {
    constexpr int came = -1;
    const int result = wait_in_slices(deadline, Pace::real, [&](Nanoseconds slice) {
        const timespec end = to_timespec(real_now() + slice);
        const int error = attempt(end);
        return error == 0 ? came : error == ETIMEDOUT ? 0 : error;
    });
    return result == 0 ? ETIMEDOUT : result == came ? 0 : result;
}

int wait_for_condition(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                       const timespec& time) {
    return wait_for_threads(deadline_on(clock, time), [&](const timespec& end) {
        return VIRTUAL_TIME_REAL(pthread_cond_clockwait)(condition, mutex, CLOCK_MONOTONIC, &end);
    });
}

int wait_for_semaphore(sem_t* semaphore, clockid_t clock, const timespec& time) {
    const int error = wait_for_threads(deadline_on(clock, time), [&](const timespec& end) {
        return VIRTUAL_TIME_REAL(sem_clockwait)(semaphore, CLOCK_MONOTONIC, &end) == 0 ? 0 : errno;
    });
    errno = error == 0 ? errno : error;
    return error == 0 ? 0 : -1;
}

bool is_timed_futex(long number, long operation, long time) {
    return number == SYS_futex && time != 0 && (operation & FUTEX_CMD_MASK) == FUTEX_WAIT_BITSET;
}

/// The standard library waits for futures this way, beside the functions of the C library.
long wait_for_futex(const long (&arguments)[6]) {
    const long operation = arguments[1];
    const clockid_t clock =
        (operation & FUTEX_CLOCK_REALTIME) != 0 ? CLOCK_REALTIME : CLOCK_MONOTONIC;
    // The arguments of a system call are numbers, also those that are addresses.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    const auto& time = *reinterpret_cast<const timespec*>(static_cast<std::intptr_t>(arguments[3]));
    const int error = wait_for_threads(deadline_on(clock, time), [&](const timespec& end) {
        return VIRTUAL_TIME_REAL(syscall)(SYS_futex, arguments[0],
                                          operation & ~static_cast<long>(FUTEX_CLOCK_REALTIME),
                                          arguments[2], &end, arguments[4], arguments[5]) == 0
                   ? 0
                   : errno;
    });
    errno = error == 0 ? errno : error;
    return error == 0 ? 0 : -1;
}

}  // namespace

VIRTUAL_TIME_EXPORT int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    const Rest rest;
    return VIRTUAL_TIME_REAL(pthread_cond_wait)(condition, mutex);
}

VIRTUAL_TIME_EXPORT int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                               const timespec* time) {
    if (page() == nullptr) {
        return VIRTUAL_TIME_REAL(pthread_cond_timedwait)(condition, mutex, time);
    }
    return wait_for_condition(condition, mutex, guess_clock(*time), *time);
}

VIRTUAL_TIME_EXPORT int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                               clockid_t clock, const timespec* time) {
    if (page() == nullptr) {
        return VIRTUAL_TIME_REAL(pthread_cond_clockwait)(condition, mutex, clock, time);
    }
    return wait_for_condition(condition, mutex, clock, *time);
}

VIRTUAL_TIME_EXPORT int sem_timedwait(sem_t* semaphore, const timespec* time) {
    if (page() == nullptr) {
        return VIRTUAL_TIME_REAL(sem_timedwait)(semaphore, time);
    }
    return wait_for_semaphore(semaphore, CLOCK_REALTIME, *time);
}

VIRTUAL_TIME_EXPORT int sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* time) {
    if (page() == nullptr) {
        return VIRTUAL_TIME_REAL(sem_clockwait)(semaphore, clock, time);
    }
    return wait_for_semaphore(semaphore, clock, *time);
}

VIRTUAL_TIME_EXPORT long syscall(long number, ...) noexcept {
    long arguments[6]{};
    va_list list;
    va_start(list, number);
    for (long& argument : arguments) {
        argument = va_arg(list, long);
    }
    va_end(list);
    if (page() != nullptr && is_timed_futex(number, arguments[1], arguments[3])) {
        return wait_for_futex(arguments);
    }
    return VIRTUAL_TIME_REAL(syscall)(number, arguments[0], arguments[1], arguments[2],
                                      arguments[3], arguments[4], arguments[5]);
}
