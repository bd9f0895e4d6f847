// SPDX-License-Identifier: Apache-2.0
#include "installer/system_command.h"

#include <cerrno>
#include <csignal>
#include <thread>

#include <boost/exception/errinfo_errno.hpp>
#include <sys/wait.h>

#include "common/popen.h"
#include "common/shell.h"
#include "installer/exceptions.h"

namespace zephran::installer {

namespace {

/// Ignores a signal while it lives.
class IgnoredSignal {
public:
    explicit IgnoredSignal(int signal_number) : number{signal_number} {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        sigaction(number, &ignore, &previous);
    }
    IgnoredSignal(const IgnoredSignal&) = delete;
    IgnoredSignal(IgnoredSignal&&) = delete;
    IgnoredSignal& operator=(const IgnoredSignal&) = delete;
    IgnoredSignal& operator=(IgnoredSignal&&) = delete;
    ~IgnoredSignal() { sigaction(number, &previous, nullptr); }
    /// Lets a child have the signal's default effect unless it was ignored before, too.
    void spare(common::ShellStart& start) const {
        if (previous.sa_handler != SIG_IGN) {
            sigaddset(&start.not_ignored, number);
        }
    }

private:
    int number;
    struct sigaction previous {};
};

/// Whether a child that is not reaped yet has ended by then; it is reaped if so.
bool ends_by(std::chrono::steady_clock::time_point deadline, pid_t child, int& status,
             pid_t& reaped) {
    constexpr std::chrono::milliseconds poll_step{10};
    while ((reaped = common::wait_for_child(child, status, WNOHANG)) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(poll_step);
    }
    return true;
}

/// Ends a process group.
void end_group_of(pid_t child) {
    constexpr std::chrono::seconds term_to_kill{2};
    int ignored = 0;
    pid_t reaped = 0;
    kill(-child, SIGTERM);
    const bool has_ended =
        ends_by(std::chrono::steady_clock::now() + term_to_kill, child, ignored, reaped);
    kill(-child, SIGKILL);
    if (!has_ended) {
        common::wait_for_child(child, ignored, 0);
    }
}

/// A wait status that no command has: it was ended at its limit.
constexpr int ended_at_limit = -2;

/// @returns the wait status, -1 with errno if there is none
int wait_for(pid_t child, const CommandLimit& limit) {
    int status = 0;
    pid_t reaped = 0;
    if (!limit) {
        reaped = common::wait_for_child(child, status, 0);
    } else if (!ends_by(std::chrono::steady_clock::now() + *limit, child, status, reaped)) {
        end_group_of(child);
        return ended_at_limit;
    }
    return reaped == child ? status : -1;
}

/// @returns the wait status, -1 with errno if there is none, or ended_at_limit
int run(const std::string& command, int inherited, const CommandLimit& limit) {
    // Ctrl-C goes to the whole process group; the command decides what it means.
    const IgnoredSignal interrupt{SIGINT};
    const IgnoredSignal quit{SIGQUIT};
    common::ShellStart start;
    start.inherited = inherited;
    start.leads_group = limit.has_value();
    interrupt.spare(start);
    quit.spare(start);
    const pid_t child = common::start_shell(command.c_str(), start);
    if (child == -1) {
        return -1;
    }
    return wait_for(child, limit);
}

}  // namespace

bool run_command(const std::string& command, int inherited, const CommandLimit& limit) {
    return run(command, inherited, limit) == 0;
}

void run_required_command(const std::string& command, int inherited, const CommandLimit& limit) {
    run_required_command(command, command, inherited, limit);
}

void run_required_command(const std::string& command, const std::string& described_as,
                          int inherited, const CommandLimit& limit) {
    const int status = run(command, inherited, limit);
    const int call_error = errno;
    if (status == 0) {
        return;
    }
    if (status == ended_at_limit) {
        ZEPHRAN_THROW(common::AbnormalTerminationException{}
                      << common::popen_command_tag{described_as});
    }
    ProgramExecutionFailedException error;
    error << common::popen_command_tag{described_as};
    if (status == -1) {
        error << boost::errinfo_errno{call_error};
    } else if (WIFSIGNALED(status)) {
        error << common::program_signal_tag{WTERMSIG(status)};
    } else if (WIFEXITED(status)) {
        error << common::program_exit_code_tag{WEXITSTATUS(status)};
    }
    ZEPHRAN_THROW(error);
}

}  // namespace zephran::installer
