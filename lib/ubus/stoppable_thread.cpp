// SPDX-License-Identifier: Apache-2.0
#include "ubus/stoppable_thread.h"

#include <csignal>
#include <utility>

namespace zephran::ubus {

void StoppableThread::start(const std::function<void()>& work) {
    running = true;
    std::promise<void> ended;
    end = ended.get_future();
    thread = std::make_unique<std::thread>([work, ended = std::move(ended)]() mutable {
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
    // Ignored by default, so that a late one does no harm.
    constexpr int signal_number = SIGURG;
    struct sigaction interruption {};
    struct sigaction previous {};
    interruption.sa_handler = [](int /*number*/) {};
    (void)::sigaction(signal_number, &interruption, &previous);
    while (end.wait_for(between_interruptions) != std::future_status::ready) {
        (void)::pthread_kill(thread->native_handle(), signal_number);
    }
    (void)::sigaction(signal_number, &previous, nullptr);
}

}  // namespace zephran::ubus
