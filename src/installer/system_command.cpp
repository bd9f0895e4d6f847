// SPDX-License-Identifier: Apache-2.0
#include "installer/system_command.h"

#include <cerrno>
#include <csignal>

#include <sys/wait.h>

#include "common/popen.h"
#include "common/shell.h"
#include "installer/exceptions.h"

namespace zephran::installer {

namespace {

/// Ignores a signal while it lives.
class Ignored {
public:
    explicit Ignored(int signal_number) : number{signal_number} {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        sigaction(number, &ignore, &previous);
    }
    Ignored(const Ignored&) = delete;
    Ignored(Ignored&&) = delete;
    Ignored& operator=(const Ignored&) = delete;
    Ignored& operator=(Ignored&&) = delete;
    ~Ignored() { sigaction(number, &previous, nullptr); }
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

/// @return the wait status, -1 with errno if there is none
int run(const std::string& command) {
    // Ctrl-C goes to the whole process group; the command decides what it means.
    const Ignored interrupt{SIGINT};
    const Ignored quit{SIGQUIT};
    common::ShellStart start;
    interrupt.spare(start);
    quit.spare(start);
    const pid_t child = common::start_shell(command.c_str(), start);
    if (child == -1) {
        return -1;
    }
    int status = 0;
    return common::wait_for(child, status, 0) == child ? status : -1;
}

}  // namespace

bool run_command(const std::string& command) {
    return run(command) == 0;
}

void run_required_command(const std::string& command) {
    run_required_command(command, command);
}

void run_required_command(const std::string& command, const std::string& described_as) {
    const int status = run(command);
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
    BOOST_THROW_EXCEPTION(error);
}

}  // namespace zephran::installer
