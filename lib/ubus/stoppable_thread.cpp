// SPDX-License-Identifier: Apache-2.0
#include "ubus/stoppable_thread.h"

#include <csignal>
#include <utility>

namespace zephran::ubus {

namespace {

// Not acted on by default, so that a late one does no harm.
constexpr int interruption = SIGURG;

// Whoever started the daemon may have left the signal blocked.
void accept_interruptions() {
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, interruption);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace

void StoppableThread::start(const std::function<void()>& work) {
    running = true;
    std::promise<void> ended;
    end = ended.get_future();
    thread = std::make_unique<std::thread>([work, ended = std::move(ended)]() mutable {
        accept_interruptions();
        work();
        ended.set_value();
    });
}

void StoppableThread::stop(std::chrono::milliseconds grace_period,
                           const std::function<void()>& unblock) {
    running = false;
    if (thread == nullptr) {
        return;
    }
    if (end.wait_for(grace_period) != std::future_status::ready) {
        unblock();
        interrupt_until_end();
    }
    thread->join();
    thread.reset();
}

// Nothing else ends a call of connect(2) that waits for a place in a full queue.
void StoppableThread::interrupt_until_end() {
    constexpr std::chrono::milliseconds between_interruptions{10};
    struct sigaction harmless {};
    struct sigaction previous {};
    harmless.sa_handler = [](int /*number*/) {};
    (void)::sigaction(interruption, &harmless, &previous);
    while (end.wait_for(between_interruptions) != std::future_status::ready) {
        (void)::pthread_kill(thread->native_handle(), interruption);
    }
    (void)::sigaction(interruption, &previous, nullptr);
}

}  // namespace zephran::ubus
