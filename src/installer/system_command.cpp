// SPDX-License-Identifier: Apache-2.0
#include "installer/system_command.h"

#include <cerrno>
#include <cstdlib>

#include <sys/wait.h>

#include "common/popen.h"
#include "installer/exceptions.h"

namespace zephran::installer {

namespace {

int run(const std::string& command) {
    return std::system(command.c_str());  // NOLINT(cert-env33-c): the command is the daemon's own
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
