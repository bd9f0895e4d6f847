// SPDX-License-Identifier: Apache-2.0
// Starts itself again with a clock of its own, as the library looks for one at the first question
// for the time.
#include <array>
#include <cstdlib>
#include <ctime>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "shared_clock.h"

namespace virtual_time {
namespace {

constexpr const char* variable = "ZEPHRAN_VIRTUAL_TIME";
constexpr std::int64_t test_speed = 50;

Page* map(int descriptor) {
    void* const memory =
        mmap(nullptr, sizeof(Page), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<Page*>(memory);
}

bool make_clock() {
    std::string path = ::testing::TempDir() + "clock-XXXXXX";
    const int descriptor = mkstemp(path.data());
    Page* const made =
        descriptor >= 0 && ftruncate(descriptor, sizeof(Page)) == 0 ? map(descriptor) : nullptr;
    if (made == nullptr || setenv(variable, path.c_str(), 1) != 0) {
        return false;
    }
    made->magic = Page::expected_magic;
    made->monotonic = 1'000'000 * second;
    made->limit = INT64_MAX;
    made->speed = test_speed;
    close(descriptor);
    return true;
}

Page* opened = nullptr;

void open_clock(const char* path) {
    const int descriptor = open(path, O_RDWR | O_CLOEXEC);
    opened = map(descriptor);
    close(descriptor);
    // The library has opened it when it answers.
    static_cast<void>(std::time(nullptr));
    unlink(path);
}

}  // namespace

Page& shared_clock() {
    return *opened;
}

Nanoseconds system_now() {
    timespec time{};
    ::syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
    return time.tv_sec * second + time.tv_nsec;
}

SharedClock::SharedClock() {
    clock.limit = free;
    set_wall(begin_of_2026);
}

}  // namespace virtual_time

int main(int count, char** arguments) {
    if (const char* const path = std::getenv(virtual_time::variable)) {
        virtual_time::open_clock(path);
        ::testing::InitGoogleTest(&count, arguments);
        return RUN_ALL_TESTS();
    }
    if (virtual_time::make_clock()) {
        execv("/proc/self/exe", arguments);
    }
    return EXIT_FAILURE;
}
