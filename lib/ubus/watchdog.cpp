// SPDX-License-Identifier: Apache-2.0
#include "ubus/watchdog.h"

#include <utility>

#include "common/new_thread.h"
#include "ubus/interruption.h"

namespace zephran::ubus {

Watchdog::Watchdog(std::chrono::milliseconds time, std::function<void()> new_unblock)
    : unblock{std::move(new_unblock)},
      thread{
          common::new_thread([this, time, watched = ::pthread_self()] { watch(watched, time); })} {
    Interruption::accept();
}

Watchdog::~Watchdog() {
    end.set_value();
    thread.join();
}

void Watchdog::watch(pthread_t watched, std::chrono::milliseconds time) {
    constexpr std::chrono::milliseconds between_interruptions{10};
    if (ended.wait_for(time) == std::future_status::ready) {
        return;
    }
    expired = true;
    unblock();
    const Interruption interruption;
    while (ended.wait_for(between_interruptions) != std::future_status::ready) {
        interruption.send_to(watched);
    }
}

}  // namespace zephran::ubus
