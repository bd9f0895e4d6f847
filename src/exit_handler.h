#pragma once

#include <atomic>

namespace zephran {

/// Turns SIGINT and SIGTERM into a request to stop that the main loop asks for. SIGPIPE is ignored,
/// SIGCHLD has its default effect; all other signals stay as they are.
class ExitHandler {
public:
    /// The process-wide handler. The first call installs it; before that a signal ends the process.
    static ExitHandler& instance();

    ExitHandler(const ExitHandler&) = delete;
    ExitHandler& operator=(const ExitHandler&) = delete;
    virtual ~ExitHandler();

    [[nodiscard]] bool is_exit_requested() const { return exit_requested; }

    /// Writes one line for every signal since the last call. The handler itself must not log: it
    /// may interrupt a thread that holds the logging mutex.
    void log_signals();

private:
    ExitHandler();
    void setup();
    static void signal(int number);

    // Not in the instance: a signal may come while that is still being made.
    static std::atomic<bool> exit_requested;
    static std::atomic<unsigned> unlogged_signals;
};

}  // namespace zephran
