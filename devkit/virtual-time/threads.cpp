// SPDX-License-Identifier: Apache-2.0
#include "threads.h"

#include <atomic>
#include <memory>

#include <pthread.h>
#include <sys/wait.h>

#include "system.h"

namespace virtual_time {
namespace {

// The main thread and every other one that does not rest.
std::atomic<int> awake{1};

struct Begin {
    void* (*function)(void*);
    void* argument;
};

void leave(void* /*unused*/) {
    --awake;
}

void* run(void* given) {
    const std::unique_ptr<Begin> begin{static_cast<Begin*>(given)};
    void* result = nullptr;
    // Also where a thread ends itself or is cancelled.
    pthread_cleanup_push(leave, nullptr);
    result = begin->function(begin->argument);
    pthread_cleanup_pop(1);
    return result;
}

bool has_children() {
    siginfo_t ignored{};
    return waitid(P_ALL, 0, &ignored, WEXITED | WNOHANG | WNOWAIT) == 0;
}

}  // namespace

bool is_accompanied() {
    return awake > 1 || has_children();
}

Rest::Rest(bool is_one) : rests{is_one} {
    awake -= rests ? 1 : 0;
}

Rest::~Rest() {
    awake += rests ? 1 : 0;
}

}  // namespace virtual_time

VIRTUAL_TIME_EXPORT int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                       void* (*function)(void*), void* argument) noexcept {
    using namespace virtual_time;
    auto begin = std::make_unique<Begin>(Begin{function, argument});
    // The new thread counts before its creator can sleep.
    ++awake;
    const int error = VIRTUAL_TIME_REAL(pthread_create)(thread, attributes, run, begin.get());
    if (error == 0) {
        static_cast<void>(begin.release());
    } else {
        --awake;
    }
    return error;
}
