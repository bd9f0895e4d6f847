// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <sys/types.h>

#include "support/temporary_directory.h"

namespace zephran::test {

/// A message bus for one test: the development kit's broker as a child process.
class PrivateBroker {
public:
    /// Starts it and waits until it accepts connections.
    PrivateBroker();
    PrivateBroker(const PrivateBroker&) = delete;
    PrivateBroker(PrivateBroker&&) = delete;
    PrivateBroker& operator=(const PrivateBroker&) = delete;
    PrivateBroker& operator=(PrivateBroker&&) = delete;
    ~PrivateBroker();

    void start();
    /// Ends it like a crash would: the file of its socket stays.
    void kill();

    [[nodiscard]] std::string socket() const { return directory.path("bus"); }
    /// The ubus command line for this broker, for example command("list"). It tells failures by its
    /// exit status alone.
    [[nodiscard]] std::string command(const std::string& arguments) const;
    /// The command line that lists an object with its methods and their arguments.
    [[nodiscard]] std::string listing(const std::string& name) const;

private:
    TemporaryDirectory directory;
    pid_t process = -1;
};

/// What a command wrote to its standard output, and its exit status.
struct CommandResult {
    std::string output;
    int status;
};

/// Runs a shell command to its end.
CommandResult run_command(const std::string& command);

}  // namespace zephran::test
