// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <chrono>
#include <string>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "common/popen.h"

namespace zephran::common {

/// Far longer than any of the commands takes, far shorter than the time limit of a test.
constexpr std::chrono::milliseconds long_time{60000};

inline const TimeLimits impatient{std::chrono::milliseconds{50}, std::chrono::milliseconds{5},
                                  std::chrono::milliseconds{50}};

/// The records of a failure.
struct Failure {
    std::string command;
    std::string output;
    int signal = 0;
};

/// How a command fails; empty texts and signal 0 stand for missing records.
inline Failure failure_of(POpen& process, std::chrono::milliseconds limit) {
    std::string output;
    try {
        ADD_FAILURE() << "no exception but exit code " << process.wait(output, limit);
    } catch (const AbnormalTerminationException& e) {
        EXPECT_STREQ(e.what(), "Program terminated abnormally");
        const auto* const command = boost::get_error_info<popen_command_tag>(e);
        const auto* const text = boost::get_error_info<program_output_tag>(e);
        const auto* const signal = boost::get_error_info<program_signal_tag>(e);
        EXPECT_EQ(text != nullptr ? *text : "", output);
        return {command != nullptr ? *command : "", output, signal != nullptr ? *signal : 0};
    }
    return {};
}

inline bool has_children() {
    return waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD;
}

}  // namespace zephran::common
