// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>

namespace zephran::ubus {

/// A thread that can be asked to stop, and unblocked if it does not stop in time.
///
/// All functions are for the owner; the thread itself only calls is_wanted().
class StoppableThread {
public:
    StoppableThread() = default;
    StoppableThread(const StoppableThread&) = delete;
    StoppableThread& operator=(const StoppableThread&) = delete;
    /// The thread must have been stopped.
    ~StoppableThread() = default;

    /// @param work must return soon after is_wanted() has become false
    /// @throws common::ThreadException
    void start(const std::function<void()>& work);

    /// Waits for the end of the thread; does nothing without one.
    /// @param unblock called once if the thread has not ended after the grace period. From then on
    ///                the thread's system calls are interrupted again and again.
    void stop(std::chrono::milliseconds grace_period, const std::function<void()>& unblock);

    /// False once the thread is to stop.
    [[nodiscard]] bool is_wanted() const { return running; }

private:
    void interrupt_until_end();

    std::atomic<bool> running{false};
    std::unique_ptr<std::thread> thread;
    std::future<void> end;
};

}  // namespace zephran::ubus
