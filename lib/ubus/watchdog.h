// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>

#include <pthread.h>

namespace zephran::ubus {

/// Limits the time that the thread that makes it may be blocked while it exists.
class Watchdog {
public:
    /// @param time    after it the thread's system calls are interrupted again and again
    /// @param unblock called once before that, on another thread
    /// @throws common::ThreadException
    Watchdog(std::chrono::milliseconds time, std::function<void()> unblock);
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    /// Waits for a call of `unblock` to return.
    ~Watchdog();

    /// Whether the time has passed. It is set before `unblock` is called.
    [[nodiscard]] bool has_expired() const { return expired; }

private:
    void watch(pthread_t watched, std::chrono::milliseconds time);

    std::function<void()> unblock;
    std::atomic<bool> expired{false};
    std::promise<void> end;
    std::future<void> ended = end.get_future();
    // The last member: it uses the others.
    std::thread thread;
};

}  // namespace zephran::ubus
