#pragma once

#include <string>

namespace zephran::installer {

/// Runs a shell command by system(3) and waits for its end. What it writes goes where the daemon's
/// own output goes.
/// @return whether it ended with status 0
[[nodiscard]] bool run_command(const std::string& command);

/// The same for a command that must succeed.
/// @param described_as stands for the command in the error, which reaches the update server
/// @throws ProgramExecutionFailedException with the description and the exit code or signal, or
///         boost::errinfo_errno when there was no child to wait for
void run_required_command(const std::string& command, const std::string& described_as);
void run_required_command(const std::string& command);

}  // namespace zephran::installer
