// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

namespace zephran {

/// Turns SIGINT and SIGTERM into a stop request that the main loop checks. SIGPIPE is ignored,
/// SIGCHLD is set to its default; other signals are left alone.
class ExitHandler {
public:
    /// The process-wide handler. The first call installs it; until then a signal ends the process.
    static ExitHandler& instance();

    ExitHandler(const ExitHandler&) = delete;
    ExitHandler& operator=(const ExitHandler&) = delete;
    virtual ~ExitHandler();

    [[nodiscard]] bool is_exit_requested() const { return exit_requested; }

    /// Logs one line for every signal since the last call. The signal handler cannot do so: it may
    /// interrupt a thread that holds the logging mutex.
    void log_signals();

private:
    ExitHandler();
    void setup();
    static void signal(int number);

    // Static because a signal may arrive while the instance is being constructed.
    static std::atomic<bool> exit_requested;
    static std::atomic<unsigned> unlogged_signals;
};

}  // namespace zephran
