#pragma once

#include <string>

namespace zephran::installer {

/// Runs a shell command by system(3) and waits for its end. What it writes goes where the daemon's
/// own output goes.
/// @return whether it ended with status 0
[[nodiscard]] bool run_command(const std::string& command);

/// The same for a command that must succeed.
/// @throws ProgramExecutionFailedException with the command and its exit code or signal
void run_required_command(const std::string& command);

}  // namespace zephran::installer
