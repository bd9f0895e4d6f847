// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <csignal>
#include <fstream>
#include <memory>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "common/popen.h"
#include "popen_test.h"
#include "support/emulator.h"
#include "support/interrupting_timer.h"
#include "support/noted_pauses.h"
#include "support/temporary_directory.h"

namespace zephran::common {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Long enough for a shell to start on a busy machine; the tests always wait the whole time.
constexpr milliseconds start_time = 2s;

TEST(POpen, NegativeTimeoutMeansNoLimit) {
    POpen process{"sleep 0.1; exit 4"};

    EXPECT_EQ(process.wait(-5), 4);
}

TEST(POpen, TimeoutIsInSeconds) {
    POpen process{"exec sleep 60", impatient};
    std::string output;

    const auto start = Clock::now();
    EXPECT_THROW(process.wait(output, 1), AbnormalTerminationException);
    const auto elapsed = Clock::now() - start;

    EXPECT_GE(elapsed, 1s);
    EXPECT_LT(elapsed, 20s);
}

TEST(POpen, ChildThatOutlivesItsLimitIsKilledAndReaped) {
    POpen process{"echo started; exec sleep 60", impatient};

    const auto start = Clock::now();
    const auto failure = failure_of(process, start_time);
    const auto elapsed = Clock::now() - start;

    EXPECT_EQ(failure.command, "echo started; exec sleep 60");
    EXPECT_EQ(failure.output, "started\n");
    EXPECT_EQ(failure.signal, 0);
    EXPECT_GE(elapsed, start_time + impatient.term_to_kill);
    EXPECT_LT(elapsed, 20s);
    EXPECT_FALSE(has_children());
}

TEST(POpen, ChildIsAskedToEndBeforeItIsKilled) {
    const TemporaryDirectory directory;
    const TimeLimits limits{50ms, 5ms, start_time};
    POpen process{"trap 'echo asked >" + directory.path("file") +
                      "; exit' TERM; echo ready; while :; do sleep 0.02; done",
                  limits};

    const auto failure = failure_of(process, start_time);

    EXPECT_EQ(failure.output, "ready\n");
    EXPECT_EQ(directory.read("file"), "asked\n");
}

TEST(POpen, GracePeriodsAreTheOnesInstallersRelyOn) {
    const TimeLimits limits;

    EXPECT_EQ(limits.exit_grace, 1s);
    EXPECT_EQ(limits.poll_step, 10ms);
    EXPECT_EQ(limits.term_to_kill, 2s);
    EXPECT_EQ(limits.stop_check, 100ms);
}

TEST(POpen, ChildThatIgnoresTheRequestIsKilled) {
    POpen process{"trap '' TERM; while :; do sleep 0.02; done", impatient};

    failure_of(process, 100ms);

    EXPECT_FALSE(has_children());
}

TEST(POpen, ProcessesThatTheChildHasStartedAreAskedToEndToo) {
    const TemporaryDirectory directory;
    const TimeLimits limits{50ms, 5ms, start_time};
    POpen process{"(trap 'echo asked >" + directory.path("file") +
                      "; exit' TERM; while :; do sleep 0.02; done) & wait",
                  limits};

    failure_of(process, start_time);

    EXPECT_EQ(directory.read("file"), "asked\n");
}

/// Whether a process runs; one that has ended and was not waited for does not.
bool is_running(const std::string& process) {
    std::ifstream file{"/proc/" + process + "/stat"};
    std::string id;
    std::string name;
    std::string state;
    return static_cast<bool>(file >> id >> name >> state) && state != "Z" && state != "X";
}

TEST(POpen, ProcessesThatTheChildHasStartedAreKilledToo) {
    POpen process{"trap '' TERM; sleep 60 & echo $!; wait", impatient};

    const auto failure = failure_of(process, start_time);

    ASSERT_NE(failure.output, "");
    const std::string started = failure.output.substr(0, failure.output.find('\n'));
    const auto deadline = Clock::now() + 20s;
    while (is_running(started) && Clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(is_running(started));
}

TEST(POpen, ChildThatHasLeftItsGroupIsKilledToo) {
    POpen process{
        "exec python3 -c 'import os, time; os.setpgid(0, os.getpgid(os.getppid())); "
        "print(\"left\", flush=True); os.close(1); time.sleep(120)'",
        impatient};
    const auto started = Clock::now();

    // The end of its output ends the wait for it, however long the interpreter takes to start.
    const auto failure = failure_of(process, 60s);

    EXPECT_EQ(failure.output, "left\n");
    EXPECT_LT(Clock::now() - started, 60s);
    EXPECT_FALSE(has_children());
}

TEST(POpen, PauseBeforeTheKillLastsThroughSignals) {
    const InterruptingTimer timer{5ms};
    const TimeLimits limits{50ms, 5ms, 300ms};
    POpen process{"exec sleep 60", limits};

    const auto start = Clock::now();
    failure_of(process, 100ms);

    EXPECT_GE(Clock::now() - start, 400ms);
}

TEST(POpen, LimitHoldsForAChildThatNeverStopsWriting) {
    POpen process{"exec yes", impatient};

    const auto failure = failure_of(process, start_time);

    EXPECT_EQ(failure.output.substr(0, 4), "y\ny\n");
}

/// Leaves this process so little memory that a long text cannot be stored.
void use_up_memory() {
    constexpr std::size_t left = 50000;
    std::vector<std::unique_ptr<char[]>> blocks;  // NOLINT(modernize-avoid-c-arrays)
    blocks.reserve(100000);
    // What earlier tests have left of the heap may be too little for the first block.
    blocks.push_back(std::make_unique<char[]>(left));  // NOLINT(modernize-avoid-c-arrays)
    std::ifstream sizes{"/proc/self/statm"};
    rlim_t pages = 0;
    sizes >> pages;
    const rlim_t size = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
    const rlimit limit{size, size};
    setrlimit(RLIMIT_AS, &limit);
    try {
        while (true) {
            blocks.push_back(std::make_unique<char[]>(left));  // NOLINT(modernize-avoid-c-arrays)
        }
    } catch (const std::bad_alloc&) {
        blocks.pop_back();
    }
    // They must stay until the process ends.
    static const auto kept = std::move(blocks);
}

/// Ends the process with 7 if the wait fails for lack of memory but does all that it has to.
[[noreturn]] void wait_without_memory(const std::string& command, milliseconds limit) {
    use_up_memory();
    bool failed = false;
    {
        POpen process{command, impatient};
        std::string output;
        try {
            process.wait(output, limit);
        } catch (const std::bad_alloc&) {
            failed = process.wait(output, limit) == 0 && !has_children();
        }
    }
    std::_Exit(failed ? 7 : 1);
}

TEST(POpenDeathTest, LackOfMemoryIsReportedOnceTheChildHasEnded) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "The sanitizers need memory of their own";
#endif
    if (is_emulated()) {
        GTEST_SKIP() << "The emulator limits no memory: all of the address space would be used up";
    }
    EXPECT_EXIT(wait_without_memory("head -c 3000000 /dev/zero | tr '\\0' x", 0ms),
                testing::ExitedWithCode(7), "");
}

TEST(POpenDeathTest, LimitHoldsWithoutMemoryToo) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "The sanitizers need memory of their own";
#endif
    if (is_emulated()) {
        GTEST_SKIP() << "The emulator limits no memory: all of the address space would be used up";
    }
    const auto start = Clock::now();

    EXPECT_EXIT(wait_without_memory("exec timeout 30 yes", start_time), testing::ExitedWithCode(7),
                "");

    EXPECT_LT(Clock::now() - start, 20s);
}

TEST(POpenDeathTest, DestructorNeedsNoMemoryForTheOutput) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "The sanitizers need memory of their own";
#endif
    if (is_emulated()) {
        GTEST_SKIP() << "The emulator limits no memory: all of the address space would be used up";
    }
    EXPECT_EXIT(
        {
            use_up_memory();
            { const POpen process{"head -c 3000000 /dev/zero | tr '\\0' x"}; }
            std::_Exit(has_children() ? 1 : 7);
        },
        testing::ExitedWithCode(7), "");
}

TEST(POpen, ChildMayExitAfterItHasClosedItsOutput) {
    POpen process{"exec >&-; sleep 0.3; exit 4", {long_time, 5ms, 50ms}};
    std::string output;

    EXPECT_EQ(process.wait(output, long_time), 4);
}

/// A child that closes its output and stays until this process has paused a few times.
class POpenSteps : public testing::Test {
protected:
    TemporaryDirectory directory;
    POpen process{
        "exec >&-; while [ ! -e '" + directory.path("end") + "' ]; do sleep 0.02; done; exit 4",
        {long_time, 5ms, 50ms}};
    std::string output;
    NotedPauses pauses{[this](std::size_t count) {
        constexpr std::size_t a_few = 3;
        if (count == a_few) {
            directory.write("end", "");
        }
    }};
};

TEST_F(POpenSteps, ExitIsWaitedForWithPauses) {
    EXPECT_EQ(process.wait(output, long_time), 4);

    EXPECT_EQ(pauses.all(), std::vector<std::chrono::nanoseconds>(pauses.all().size(), 5ms));
}

TEST_F(POpenSteps, ExitIsWaitedForWithPausesUntilTheRequestToo) {
    const std::atomic<bool> stop{false};

    EXPECT_EQ(process.wait(output, stop), 4);

    EXPECT_EQ(pauses.all().back(), 5ms);
}

/// Lets nobody wait for children while it lives: they are gone as soon as they have ended.
class UnwaitedChildren {
public:
    UnwaitedChildren() : previous{std::signal(SIGCHLD, SIG_IGN)} {}
    UnwaitedChildren(const UnwaitedChildren&) = delete;
    UnwaitedChildren(UnwaitedChildren&&) = delete;
    UnwaitedChildren& operator=(const UnwaitedChildren&) = delete;
    UnwaitedChildren& operator=(UnwaitedChildren&&) = delete;
    ~UnwaitedChildren() { static_cast<void>(std::signal(SIGCHLD, previous)); }

private:
    void (*previous)(int);
};

TEST(POpen, ChildThatIsGoneIsNotWaitedForUntilTheLimit) {
    const UnwaitedChildren unwaited;
    POpen process{"echo gone", {long_time, 5ms, long_time}};

    const auto start = Clock::now();
    const auto failure = failure_of(process, long_time);

    EXPECT_EQ(failure.output, "gone\n");
    EXPECT_EQ(failure.signal, 0);
    EXPECT_LT(Clock::now() - start, 20s);
}

TEST(POpen, ChildThatIsGoneIsNotWaitedForUntilTheRequest) {
    const UnwaitedChildren unwaited;
    std::atomic<bool> stop{false};
    // A wait that goes on is ended by the request in time for the comparison below to fail.
    std::thread late{[&stop] {
        const auto end = Clock::now() + 20s;
        while (!stop && Clock::now() < end) {
            std::this_thread::sleep_for(10ms);
        }
        stop = true;
    }};
    POpen process{"echo gone", {long_time, 5ms, 50ms}};
    std::string output;

    const auto start = Clock::now();
    EXPECT_THROW(process.wait(output, stop), AbnormalTerminationException);
    const auto elapsed = Clock::now() - start;
    stop = true;
    late.join();

    EXPECT_EQ(output, "gone\n");
    EXPECT_LT(elapsed, 20s);
}

TEST(POpen, ChildThatClosesItsOutputAndStaysIsKilledAfterTheGracePeriod) {
    POpen process{"exec >&-; exec sleep 60", impatient};

    const auto start = Clock::now();
    failure_of(process, long_time);

    EXPECT_LT(Clock::now() - start, 20s);
}

TEST(POpen, GracePeriodEndsWithTheLimit) {
    POpen process{"exec >&-; exec sleep 60", {long_time, 5ms, 50ms}};

    const auto start = Clock::now();
    failure_of(process, 200ms);

    EXPECT_LT(Clock::now() - start, 20s);
}

TEST(POpen, ExitCodeCountsWhenAGrandchildKeepsThePipeOpen) {
    POpen process{"sleep 60 & echo $!; exit 5", impatient};
    std::string output;

    EXPECT_EQ(process.wait(output, start_time), 5);

    EXPECT_EQ(kill(std::stoi(output), SIGKILL), 0);
}

}  // namespace
}  // namespace zephran::common
