// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/temporary_directory.h"

namespace zephran {

/// A program that waits until it is told to end.
class WaitingProgram {
public:
    WaitingProgram() { EXPECT_EQ(mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0); }

    [[nodiscard]] std::string command() const { return "exec cat >/dev/null <'" + pipe + "'"; }
    /// It must have been started.
    void end() const { close(open(pipe.c_str(), O_WRONLY | O_CLOEXEC)); }

private:
    TemporaryDirectory directory;
    std::string pipe = directory.path("pipe");
};

}  // namespace zephran
