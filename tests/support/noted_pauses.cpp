// SPDX-License-Identifier: Apache-2.0
#include "support/noted_pauses.h"

#include <cerrno>
#include <ctime>
#include <utility>

namespace zephran {
namespace {

thread_local NotedPauses* current = nullptr;

}  // namespace

NotedPauses::NotedPauses(std::function<void(std::size_t)> before_pause)
    : react{std::move(before_pause)} {
    current = this;
}

NotedPauses::~NotedPauses() {
    current = nullptr;
}

void NotedPauses::note(std::chrono::nanoseconds pause) {
    pauses.push_back(pause);
    if (react) {
        react(pauses.size());
    }
}

}  // namespace zephran

extern "C" int note_pause(const timespec* time, timespec* rest) {
    if (zephran::current != nullptr) {
        zephran::current->note(std::chrono::seconds{time->tv_sec} +
                               std::chrono::nanoseconds{time->tv_nsec});
    }
    errno = clock_nanosleep(CLOCK_MONOTONIC, 0, time, rest);
    return errno == 0 ? 0 : -1;
}

// In the place of the system's.
extern "C" int nanosleep(const timespec*, timespec*) __attribute__((alias("note_pause")));
