// SPDX-License-Identifier: Apache-2.0
// Waiting for descriptors. Time-outs of 0 ask for no time and stay as they are.
#include <cerrno>
#include <optional>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/socket.h>

#include "system.h"
#include "waiting.h"

using namespace virtual_time;

namespace {

bool is_local(int descriptor) {
    sockaddr_storage address{};
    socklen_t size = sizeof(address);
    return descriptor < 0 ||
           (getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
            address.ss_family == AF_UNIX);
}

/// What comes from a neighbour, such as the message bus, comes by itself: nothing is missed if time
/// passes meanwhile.
Pace pace_of(const pollfd* entries, nfds_t count) {
    for (nfds_t number = 0; number < count; ++number) {
        if (!is_local(entries[number].fd)) {
            return Pace::quick;
        }
    }
    return Pace::real;
}

int to_milliseconds(Nanoseconds time) {
    return static_cast<int>((time + millisecond - 1) / millisecond);
}

std::optional<Nanoseconds> duration_of(const timespec* limit) {
    return limit == nullptr ? std::nullopt : std::optional{nanoseconds(*limit)};
}

template <class Attempt>
int wait_in_slices_of(std::optional<Nanoseconds> limit, Pace pace, const Attempt& attempt) {
    if (limit) {
        return wait_in_slices(Wait::after(*limit), pace, attempt);
    }
    const Rest rest{pace == Pace::real};
    int result = 0;
    while (result == 0) {
        result = attempt(second);
    }
    return result;
}

int select_in_slices(int count, fd_set* const (&sets)[3], std::optional<Nanoseconds> limit,
                     const sigset_t* mask) {
    fd_set wanted[3]{};
    for (int number = 0; number < 3; ++number) {
        if (sets[number] != nullptr) {
            wanted[number] = *sets[number];
        }
    }
    return wait_in_slices_of(limit, Pace::quick, [&](Nanoseconds slice) {
        for (int number = 0; number < 3; ++number) {
            if (sets[number] != nullptr) {
                *sets[number] = wanted[number];
            }
        }
        const timespec time = to_timespec(slice);
        return VIRTUAL_TIME_REAL(pselect)(count, sets[0], sets[1], sets[2], &time, mask);
    });
}

}  // namespace

VIRTUAL_TIME_EXPORT int poll(pollfd* entries, nfds_t count, int timeout) {
    if (page() == nullptr || timeout == 0) {
        return VIRTUAL_TIME_REAL(poll)(entries, count, timeout);
    }
    const std::optional<Nanoseconds> limit =
        timeout < 0 ? std::nullopt : std::optional{timeout * millisecond};
    return wait_in_slices_of(limit, pace_of(entries, count), [&](Nanoseconds slice) {
        return VIRTUAL_TIME_REAL(poll)(entries, count, to_milliseconds(slice));
    });
}

VIRTUAL_TIME_EXPORT int ppoll(pollfd* entries, nfds_t count, const timespec* timeout,
                              const sigset_t* mask) {
    const auto limit = duration_of(timeout);
    if (page() == nullptr || limit == 0) {
        return VIRTUAL_TIME_REAL(ppoll)(entries, count, timeout, mask);
    }
    return wait_in_slices_of(limit, pace_of(entries, count), [&](Nanoseconds slice) {
        const timespec time = to_timespec(slice);
        return VIRTUAL_TIME_REAL(ppoll)(entries, count, &time, mask);
    });
}

VIRTUAL_TIME_EXPORT int select(int count, fd_set* to_read, fd_set* to_write, fd_set* in_error,
                               timeval* timeout) {
    const auto limit = timeout == nullptr
                           ? std::nullopt
                           : std::optional{timeout->tv_sec * second + timeout->tv_usec * 1000};
    if (page() == nullptr || limit == 0) {
        return VIRTUAL_TIME_REAL(select)(count, to_read, to_write, in_error, timeout);
    }
    return select_in_slices(count, {to_read, to_write, in_error}, limit, nullptr);
}

VIRTUAL_TIME_EXPORT int pselect(int count, fd_set* to_read, fd_set* to_write, fd_set* in_error,
                                const timespec* timeout, const sigset_t* mask) {
    const auto limit = duration_of(timeout);
    if (page() == nullptr || limit == 0) {
        return VIRTUAL_TIME_REAL(pselect)(count, to_read, to_write, in_error, timeout, mask);
    }
    return select_in_slices(count, {to_read, to_write, in_error}, limit, mask);
}

VIRTUAL_TIME_EXPORT int epoll_pwait(int epoll, epoll_event* events, int count, int timeout,
                                    const sigset_t* mask) {
    if (page() == nullptr || timeout == 0) {
        return VIRTUAL_TIME_REAL(epoll_pwait)(epoll, events, count, timeout, mask);
    }
    const std::optional<Nanoseconds> limit =
        timeout < 0 ? std::nullopt : std::optional{timeout * millisecond};
    return wait_in_slices_of(limit, Pace::quick, [&](Nanoseconds slice) {
        return VIRTUAL_TIME_REAL(epoll_pwait)(epoll, events, count, to_milliseconds(slice), mask);
    });
}

VIRTUAL_TIME_EXPORT int epoll_wait(int epoll, epoll_event* events, int count, int timeout) {
    return epoll_pwait(epoll, events, count, timeout, nullptr);
}
