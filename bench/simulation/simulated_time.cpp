// SPDX-License-Identifier: Apache-2.0
#include "simulated_time.h"

#include <ctime>

namespace zephran::simulation {
namespace {

std::chrono::nanoseconds shown{0};

}  // namespace

void set_time(Milliseconds since_1970) {
    shown = since_1970;
}

void set_time(std::chrono::nanoseconds since_1970) {
    shown = since_1970;
}

Milliseconds time() {
    return std::chrono::duration_cast<Milliseconds>(shown);
}

}  // namespace zephran::simulation

// In the place of the system's, which the standard library would ask.
// The names in the C library's declaration are reserved.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int clock_gettime(clockid_t /*clock*/, timespec* time) noexcept {
    const auto now = zephran::simulation::shown;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now);
    time->tv_sec = static_cast<std::time_t>(seconds.count());
    time->tv_nsec = static_cast<long>((now - seconds).count());
    return 0;
}
