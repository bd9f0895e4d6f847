// SPDX-License-Identifier: Apache-2.0
#include "installer/script_installer.h"

#include <cerrno>
#include <system_error>

#include <sys/stat.h>

#include "common/exception.h"
#include "common/regular_file.h"
#include "installer/installer_factory.h"

namespace zephran::installer {

namespace {

const InstallerRegistration registration{"script", 15, ScriptInstaller::create};

void make_executable(const std::string& path) {
    const common::FileDescriptor file = common::RegularFile::try_to_open(path);
    if (!file.is_open() || fchmod(file.get(), S_IRWXU) != 0) {
        // Running the script will fail as well, with an exit code that is reported to the server.
        ZLOG_WARNING("action", "start_installation", "message", "could not make script executable",
                     "path", path, "what", std::generic_category().message(errno));
    }
}

}  // namespace

ScriptInstaller::ScriptInstaller(std::chrono::milliseconds script_time_limit,
                                 const common::TimeLimits& process_limits)
    : time_limit_of_script{script_time_limit}, limits{process_limits} {}

std::unique_ptr<HawkbitInstaller> ScriptInstaller::create(const InstallerContext& /*context*/) {
    return std::make_unique<ScriptInstaller>();
}

void ScriptInstaller::check_artifact_count() {
    if (chunk().artifacts().empty()) {
        HawkbitInstaller::check_artifact_count();
    }
}

void ScriptInstaller::start_installation() {
    const std::string path = path_of(chunk().artifacts().front());
    make_executable(path);
    about_to_begin();

    // exec replaces the shell, so that the time limit applies to the script itself.
    std::string output;
    const int exit_code = common::POpen{"exec " + path, limits}.wait(output, time_limit_of_script);
    report() << output;
    if (exit_code != 0) {
        ZEPHRAN_THROW(ScriptExecutionFailedException{} << script_exit_code_tag{exit_code}
                                                       << script_output_tag{output});
    }
    set_installed();
}

bool ScriptInstaller::installation_has_finished() {
    return is_resumed() || OneTickInstaller::installation_has_finished();
}

}  // namespace zephran::installer
