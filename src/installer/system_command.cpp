// SPDX-License-Identifier: Apache-2.0
#include "installer/system_command.h"

#include <cerrno>
#include <csignal>

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

/// @returns the wait status, -1 with errno if there is none
int run(const std::string& command, int inherited) {
    // Ctrl-C goes to the whole process group; the command decides what it means.
    const IgnoredSignal interrupt{SIGINT};
    const IgnoredSignal quit{SIGQUIT};
    common::ShellStart start;
    start.inherited = inherited;
    interrupt.spare(start);
    quit.spare(start);
    const pid_t child = common::start_shell(command.c_str(), start);
    if (child == -1) {
        return -1;
    }
    int status = 0;
    return common::wait_for_child(child, status, 0) == child ? status : -1;
}

}  // namespace

bool run_command(const std::string& command, int inherited) {
    return run(command, inherited) == 0;
}

void run_required_command(const std::string& command, int inherited) {
    run_required_command(command, command, inherited);
}

void run_required_command(const std::string& command, const std::string& described_as,
                          int inherited) {
    const int status = run(command, inherited);
    const int call_error = errno;
    if (status == 0) {
        return;
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
