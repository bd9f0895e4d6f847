// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "common/popen.h"
#include "support/temporary_directory.h"

namespace zephran::common {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Far shorter than the commands take by themselves, far longer than any of the grace periods.
constexpr std::chrono::seconds quickly{20};

// The first is only used up by a killed child that takes its time to end.
const TimeLimits quick_checks{quickly / 2, 5ms, 50ms, 5ms};

/// Whether a process has ended; nobody needs to have waited for it.
bool has_ended(const std::string& process_and_line_end) {
    std::ifstream file{"/proc/" + std::to_string(std::stoi(process_and_line_end)) + "/stat"};
    std::string id;
    std::string name;
    std::string state = "X";
    file >> id >> name >> state;
    return state == "Z" || state == "X";
}

/// A wait with a stop request.
class POpenStopTest : public testing::Test {
protected:
    /// Waits for a child, and asks for the stop once there is a file.
    /// @return its output
    std::string output_when_stopped(POpen& process, const std::string& file) {
        const auto asking = std::async(std::launch::async, [&] {
            while (!std::filesystem::exists(file)) {
                std::this_thread::yield();
            }
            stop = true;
        });
        return output_of_failure(process);
    }
    std::string output_of_failure(POpen& process) {
        std::string output;
        const auto start = Clock::now();
        EXPECT_THROW(process.wait(output, stop), AbnormalTerminationException);
        EXPECT_LT(Clock::now() - start, quickly);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "it has left a child";
        EXPECT_EQ(errno, ECHILD);
        return output;
    }

    const TemporaryDirectory directory;
    const std::string mark = directory.path("started");
    std::atomic<bool> stop{false};
};

TEST_F(POpenStopTest, WithoutTheRequestTheChildIsWaitedFor) {
    POpen process{"echo one; sleep 0.2; echo two; exec >&-; sleep 0.2; exit 3", quick_checks};
    std::string output;

    EXPECT_EQ(process.wait(output, stop), 3);

    EXPECT_EQ(output, "one\ntwo\n");
    EXPECT_EQ(process.wait(output, stop), 0);
    EXPECT_EQ(output, "");
}

TEST_F(POpenStopTest, WithoutTheRequestASignalIsReported) {
    POpen process{"kill -USR1 $$"};
    std::string output;

    try {
        process.wait(output, stop);
        FAIL() << "no exception";
    } catch (const AbnormalTerminationException& error) {
        const int* const number = boost::get_error_info<program_signal_tag>(error);
        ASSERT_NE(number, nullptr);
        EXPECT_EQ(*number, SIGUSR1);
    }
}

TEST_F(POpenStopTest, RequestEndsAChildThatHangs) {
    POpen process{"echo one; >'" + mark + "'; exec sleep 60", quick_checks};

    EXPECT_EQ(output_when_stopped(process, mark), "one\n");
}

TEST_F(POpenStopTest, RequestEndsAChildThatHangsWithoutAnOutput) {
    POpen process{"exec >&-; >'" + mark + "'; exec sleep 60", quick_checks};

    output_when_stopped(process, mark);
}

TEST_F(POpenStopTest, RequestEndsAChildThatNeverStopsWriting) {
    POpen process{">'" + mark + "'; exec yes", quick_checks};

    output_when_stopped(process, mark);
}

TEST_F(POpenStopTest, EarlierRequestEndsAChildAtOnce) {
    stop = true;
    POpen process{"exec sleep 60", quick_checks};

    output_of_failure(process);
}

TEST_F(POpenStopTest, OutputFromBeforeAnEarlierRequestIsKept) {
    POpen process{"echo one; >'" + mark + "'; exec sleep 60", quick_checks};
    while (!std::filesystem::exists(mark)) {
        std::this_thread::yield();
    }
    stop = true;

    EXPECT_EQ(output_of_failure(process), "one\n");
}

TEST_F(POpenStopTest, ChildIsAskedToEndFirst) {
    const TimeLimits patient{50ms, 5ms, 60s, 5ms};
    POpen process{"trap 'echo asked >" + directory.path("file") + "; exit' TERM; >'" + mark +
                      "'; while :; do sleep 0.02; done",
                  patient};

    output_when_stopped(process, mark);

    EXPECT_EQ(directory.read("file"), "asked\n");
}

TEST_F(POpenStopTest, ChildThatIgnoresTheRequestIsKilled) {
    POpen process{"trap '' TERM; >'" + mark + "'; while :; do sleep 0.02; done", quick_checks};

    output_when_stopped(process, mark);
}

TEST_F(POpenStopTest, ProcessesThatTheChildHasStartedEndToo) {
    const std::string ready = directory.path("ready");
    POpen process{"(trap '' TERM; echo >'" + ready + "'; exec sleep 60) & echo $!; " +
                      "while [ ! -e '" + ready + "' ]; do :; done; echo >'" + mark + "'; wait",
                  quick_checks};

    const std::string started = output_when_stopped(process, mark);

    const auto deadline = Clock::now() + quickly;
    while (!has_ended(started) && Clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(has_ended(started));
}

}  // namespace
}  // namespace zephran::common
