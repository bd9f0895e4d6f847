// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>
#include <string>

#include <sys/types.h>
#include <unistd.h>

namespace zephran::common {

/// How a shell is started.
struct ShellStart {
    /// Descriptor of this process that becomes its standard output.
    int output = STDOUT_FILENO;
    /// Descriptor of this process, above the standard streams, that it inherits as number 3; -1 for
    /// none.
    int inherited = -1;
    /// Whether it leads a process group of its own.
    bool leads_group = false;
    /// Exit status of a child that cannot execute the shell.
    int status_without_shell = 127;
    /// Signals that this process ignores but the shell must not.
    sigset_t not_ignored{};
};

/// Starts "/bin/sh -c COMMAND" without waiting for it.
///
/// It gets the environment, standard input and standard error of this process, but no other
/// descriptor from 3 up than the inherited one. SIGPIPE, SIGCHLD and whatever has a handler here
/// have their default effect.
///
/// @returns its process id, or -1 with errno
pid_t start_shell(const char* command, const ShellStart& start);

/// A word that a shell takes for this text, whatever the text contains but NUL.
[[nodiscard]] std::string quote_for_shell(const std::string& text);

/// waitpid(2) that lasts through signals.
pid_t wait_for_child(pid_t child, int& status, int options);

}  // namespace zephran::common
