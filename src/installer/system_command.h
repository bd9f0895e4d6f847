// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace zephran::installer {

/// The longest time that a command may take; none without a value.
using CommandLimit = std::optional<std::chrono::milliseconds>;

/// Runs a shell command as system(3) does and waits for its end. It inherits the daemon's standard
/// streams and process group but no other descriptor than the one that it is given; SIGPIPE and
/// SIGCHLD have their default effect.
/// @param inherited descriptor, above the standard streams, that it gets as number 3; -1 for none
/// @param limit after it the command's process group, which is its own then, gets SIGTERM and two
///              seconds later SIGKILL
/// @returns whether its exit status was 0
[[nodiscard]] bool run_command(const std::string& command, int inherited = -1,
                               const CommandLimit& limit = std::nullopt);

/// As above, for a command that must succeed.
/// @param described_as replaces the command in the error, which is sent to the update server
/// @throws ProgramExecutionFailedException with the description and the exit code or signal, or
///         boost::errinfo_errno if no child process was started
/// @throws common::AbnormalTerminationException with the description at the limit
void run_required_command(const std::string& command, const std::string& described_as,
                          int inherited = -1, const CommandLimit& limit = std::nullopt);
void run_required_command(const std::string& command, int inherited = -1,
                          const CommandLimit& limit = std::nullopt);

}  // namespace zephran::installer
