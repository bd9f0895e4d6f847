// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>

#include <dlfcn.h>

#include "page.h"

/// The functions of the C library that this library stands in front of.
#define VIRTUAL_TIME_EXPORT extern "C" __attribute__((visibility("default")))

namespace virtual_time {

inline void* find_real(const char* name) {
    // Condition variables had another layout once, and an unversioned search may find the functions
    // for that.
    void* const found = dlvsym(RTLD_NEXT, name, "GLIBC_2.3.2");
    return found != nullptr ? found : dlsym(RTLD_NEXT, name);
}

/// The C library's own function, looked up once.
#define VIRTUAL_TIME_REAL(name)                                    \
    ([] {                                                          \
        static void* const found = virtual_time::find_real(#name); \
        return reinterpret_cast<decltype(&::name)>(found);         \
    }())

inline Nanoseconds nanoseconds(const timespec& time) {
    return static_cast<Nanoseconds>(time.tv_sec) * second + time.tv_nsec;
}

/// For times before 1970, too.
inline timespec to_timespec(Nanoseconds time) {
    const Nanoseconds rest = (time % second + second) % second;
    return {static_cast<time_t>((time - rest) / second), static_cast<long>(rest)};
}

/// The system's own monotonic clock.
Nanoseconds real_now();

}  // namespace virtual_time
