// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <csignal>

#include <sys/time.h>

namespace zephran {

/// Interrupts whatever system call the process waits in, again and again, while the object lives.
class InterruptingTimer {
public:
    explicit InterruptingTimer(std::chrono::microseconds period) {
        count() = 0;
        struct sigaction action {};
        action.sa_handler = [](int) { ++count(); };
        sigaction(SIGALRM, &action, &previous_action);
        const auto microseconds = static_cast<suseconds_t>(period.count());
        const itimerval repeated{{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &repeated, nullptr);
    }
    InterruptingTimer(const InterruptingTimer&) = delete;
    InterruptingTimer(InterruptingTimer&&) = delete;
    InterruptingTimer& operator=(const InterruptingTimer&) = delete;
    InterruptingTimer& operator=(InterruptingTimer&&) = delete;
    ~InterruptingTimer() {
        const itimerval none{};
        setitimer(ITIMER_REAL, &none, nullptr);
        sigaction(SIGALRM, &previous_action, nullptr);
    }

    static int interruptions() { return count(); }

private:
    static std::atomic<int>& count() {
        static std::atomic<int> interruption_count{0};
        return interruption_count;
    }

    struct sigaction previous_action {};
};

}  // namespace zephran
