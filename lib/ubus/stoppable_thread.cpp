// SPDX-License-Identifier: Apache-2.0
#include "ubus/stoppable_thread.h"

#include <utility>

#include "common/new_thread.h"
#include "ubus/interruption.h"

namespace zephran::ubus {

void StoppableThread::start(const std::function<void()>& work) {
    running = true;
    std::promise<void> ended;
    end = ended.get_future();
    thread = std::make_unique<std::thread>(
        common::new_thread([work, ended = std::move(ended)]() mutable {
            Interruption::accept();
            work();
            ended.set_value();
        }));
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

void StoppableThread::interrupt_until_end() {
    constexpr std::chrono::milliseconds between_interruptions{10};
    const Interruption interruption;
    while (end.wait_for(between_interruptions) != std::future_status::ready) {
        interruption.send_to(thread->native_handle());
    }
}

}  // namespace zephran::ubus
