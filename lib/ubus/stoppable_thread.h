#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>

namespace zephran::ubus {

/// A thread that its owner can ask to stop, and help to stop when it does not in time.
///
/// The owner's thread calls everything but is_wanted(), which the thread itself may ask as well.
class StoppableThread {
public:
    StoppableThread() = default;
    StoppableThread(const StoppableThread&) = delete;
    StoppableThread& operator=(const StoppableThread&) = delete;
    /// Must have been stopped.
    ~StoppableThread() = default;

    /// @param work returns soon after is_wanted() has become false
    void start(const std::function<void()>& work);

    /// Waits for the end of the thread; does nothing without one.
    /// @param unblock called once if the thread has not ended after the grace period
    void stop(std::chrono::milliseconds grace_period, const std::function<void()>& unblock);

    /// False once the thread is to stop.
    [[nodiscard]] bool is_wanted() const { return running; }

private:
    std::atomic<bool> running{false};
    std::unique_ptr<std::thread> thread;
    std::future<void> end;
};

}  // namespace zephran::ubus
