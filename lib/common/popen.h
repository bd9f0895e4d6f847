// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include <boost/optional.hpp>
#include <sys/types.h>

#include "common/exception.h"
#include "common/record.h"

namespace zephran::common {

/// The command line that was handed to the shell.
ZEPHRAN_RECORD(popen_command, std::string, reported_at(205));
/// Number of the signal that ended a program.
ZEPHRAN_RECORD(program_signal, int, reported_at(210));

struct POpenFailedException : Exception {
    POpenFailedException() : Exception{"Failed to execute command"} {}
};
struct AbnormalTerminationException : Exception {
    AbnormalTerminationException() : Exception{"Program terminated abnormally"} {}
};

/// For waits that nobody wants to stop.
inline const std::atomic<bool> no_stop_request{false};

class OutputCollector;

/// Grace periods for a child with a time limit or a stop request. Only unit tests pass other
/// values.
struct TimeLimits {
    /// Time to exit for a child that has closed its output, within its limit.
    std::chrono::milliseconds exit_grace{1000};
    /// Pause between two checks whether it has exited.
    std::chrono::milliseconds poll_step{10};
    /// Pause between SIGTERM and SIGKILL.
    std::chrono::milliseconds term_to_kill{2000};
    /// Pause between two looks at a stop request.
    std::chrono::milliseconds stop_check{100};
    /// How long the output of a tool is collected after its shell has ended.
    std::chrono::milliseconds after_end{1000};
};

/// One shell command that runs as a child process in its own process group.
///
/// Its standard output is collected. Its standard error goes where that of this process goes;
/// callers append "2>&1" to collect it as well. It inherits no other descriptor but the one that it
/// is given, and SIGPIPE and SIGCHLD have their default effect. Each object belongs to one thread.
class POpen {
public:
    /// Starts the command. A shell that cannot be executed looks like a command that succeeds
    /// without output.
    /// @param inherited descriptor, above the standard streams, that it gets as number 3; -1 for
    ///                  none
    /// @throws POpenFailedException with popen_command_tag and boost::errinfo_errno
    explicit POpen(const std::string& shell_command, const TimeLimits& time_limits = {},
                   int inherited = -1);
    POpen(const POpen&) = delete;
    POpen(POpen&&) = delete;
    POpen& operator=(const POpen&) = delete;
    POpen& operator=(POpen&&) = delete;
    /// Waits without a limit. The process ends here if the command is killed by a signal meanwhile.
    ~POpen();  // NOLINT(bugprone-exception-escape)

    /// Collects the output, also when an exception follows, and returns the exit code; 0 and no
    /// output when the child has been waited for before. Output is taken in blocks of at most 1024
    /// bytes, and a NUL byte hides the rest of its block. Of more than two mebibytes the first and
    /// the last one are kept, with a line in between that says how many bytes are left out.
    ///
    /// A child that outlives the limit gets SIGTERM and, two seconds later, SIGKILL, together with
    /// its whole process group.
    ///
    /// @param timeout in seconds; 0 or less means no limit
    /// @throws AbnormalTerminationException with popen_command_tag, program_output_tag and, when a
    ///         signal ended the child before the limit, program_signal_tag
    /// @throws std::bad_alloc if the output could not be stored; the child has ended then, too
    int wait(std::string& output, int timeout);
    /// The same with the output discarded.
    int wait(int timeout);
    /// The same with a finer limit.
    int wait(std::string& output, std::chrono::milliseconds limit);
    /// The same without a limit, until another thread sets the stop request. The child's process
    /// group gets SIGTERM then, and SIGKILL once the child has ended, two seconds later at most.
    /// Three seconds after the request this returns even if the kernel cannot end the child.
    int wait(std::string& output, const std::atomic<bool>& stop);
    /// For a tool that may leave services behind: as above until the stop request or, if earlier,
    /// the limit. One second after the end of its shell the output counts as complete, even if
    /// another process still has it open.
    int wait_for_tool(std::string& output, std::chrono::milliseconds limit,
                      const std::atomic<bool>& stop = no_stop_request);

private:
    struct Close {
        void operator()(std::FILE* open_stream) const;
    };
    using Clock = std::chrono::steady_clock;
    struct ToolEnd {
        Clock::time_point deadline;
        const std::atomic<bool>& stop;
    };

    void popen_for_reading(int inherited);
    template <class End>
    int wait_until(const End& end, std::string& output);
    /// Leaves neither stream nor id behind, whatever becomes of the output.
    boost::optional<int> collect_and_reap(OutputCollector& output, std::chrono::milliseconds limit);
    boost::optional<int> collect_and_reap(OutputCollector& output, const std::atomic<bool>& stop);
    boost::optional<int> collect_and_reap(OutputCollector& output, const ToolEnd& end);
    void forget_child();
    void read_to_end(OutputCollector& output);
    void read_until(OutputCollector& output, Clock::time_point deadline);
    void read_unless(const std::atomic<bool>& stop, OutputCollector& output);
    void read_of_tool(const ToolEnd& end, OutputCollector& output);
    /// Waits for a block of output for at most this time.
    /// @returns false at the end of the output
    bool take_block_within(std::chrono::milliseconds time, OutputCollector& output);
    /// The wait status; empty when there is none because the child was killed, or because it was
    /// reaped elsewhere.
    boost::optional<int> pclose_wait() const;
    boost::optional<int> pclose_kill(Clock::time_point deadline);
    boost::optional<int> kill_child() const;
    boost::optional<int> pclose_unless(const std::atomic<bool>& stop,
                                       Clock::time_point deadline = Clock::time_point::max()) const;
    void stop_child() const;
    /// @return whether the child has ended; it still has to be reaped
    bool has_ended_within(std::chrono::milliseconds time) const;
    int decode(const boost::optional<int>& status, const std::string& output) const;

    std::string command;
    std::unique_ptr<std::FILE, Close> stream;
    pid_t pid = 0;
    TimeLimits limits;
};

}  // namespace zephran::common
