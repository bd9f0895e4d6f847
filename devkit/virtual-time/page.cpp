// SPDX-License-Identifier: Apache-2.0
#include "page.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace virtual_time {
namespace {

[[noreturn]] void refuse(const char* path) {
    static_cast<void>(std::fprintf(stderr, "virtual time: %s is not the file of a clock\n", path));
    std::abort();
}

Page* open_page() {
    const char* const path = std::getenv("ZEPHRAN_VIRTUAL_TIME");
    if (path == nullptr) {
        return nullptr;
    }
    const int descriptor = open(path, O_RDWR | O_CLOEXEC);
    struct stat found {};
    if (descriptor < 0 || fstat(descriptor, &found) != 0 ||
        found.st_size < static_cast<off_t>(sizeof(Page))) {
        refuse(path);
    }
    void* const memory =
        mmap(nullptr, sizeof(Page), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (memory == MAP_FAILED || static_cast<Page*>(memory)->magic != Page::expected_magic) {
        refuse(path);
    }
    return static_cast<Page*>(memory);
}

}  // namespace

Page* page() {
    static Page* const opened = open_page();
    return opened;
}

void raise(Page& clock, Nanoseconds time) {
    const Nanoseconds wanted = std::min<Nanoseconds>(time, clock.limit);
    Nanoseconds seen = clock.monotonic;
    while (seen < wanted && !clock.monotonic.compare_exchange_weak(seen, wanted)) {
    }
}

}  // namespace virtual_time

/// For programs that hold a page themselves: a wait moves the same clock at the same moment.
extern "C" __attribute__((visibility("default"))) void virtual_time_advance(
    virtual_time::Page* clock, virtual_time::Nanoseconds by) {
    clock->monotonic += by;
}
