// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>

#include <pthread.h>

namespace zephran::ubus {

/// Interrupts the blocking system calls of a thread: nothing else ends a call of connect(2) that
/// waits for a place in a full queue, or the bus library's wait for a broker's greeting.
///
/// While one exists, a signal that is otherwise ignored has a handler that does nothing.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    /// Interrupts one call. A thread that is just about to begin one needs another interruption.
    void send_to(pthread_t thread) const;

    /// Lets the calling thread be interrupted, also if whoever started the daemon has left the
    /// signal blocked.
    static void accept();

private:
    struct sigaction previous {};
};

}  // namespace zephran::ubus
