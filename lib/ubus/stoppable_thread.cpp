// SPDX-License-Identifier: Apache-2.0
#include "ubus/stoppable_thread.h"

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
    }
    thread->join();
    thread.reset();
}

}  // namespace zephran::ubus
