// SPDX-License-Identifier: Apache-2.0
#include "common/popen.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/interrupting_timer.h"
#include "support/refused_system_call.h"
#include "support/temporary_directory.h"

namespace zephran::common {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Long enough for a shell to start on a busy machine; the tests always wait the whole time.
constexpr milliseconds start_time = 2s;

// Far longer than any of the commands takes, far shorter than the time limit of a test.
constexpr milliseconds long_time = 60s;

const TimeLimits impatient{50ms, 5ms, 50ms};

struct Failure {
    std::string command;
    std::string output;
    int signal = 0;
};

// How a command fails; empty texts and signal 0 stand for missing records.
Failure failure_of(POpen& process, milliseconds limit) {
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

std::string output_of(const std::string& command) {
    POpen process{command};
    std::string output;
    EXPECT_EQ(process.wait(output, 0), 0);
    return output;
}

bool has_children() {
    return waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD;
}

/// Whether a process runs; one that has ended and was not waited for does not.
bool is_running(const std::string& process) {
    std::ifstream file{"/proc/" + process + "/stat"};
    std::string id;
    std::string name;
    std::string state;
    return static_cast<bool>(file >> id >> name >> state) && state != "Z" && state != "X";
}

/// The ignored signals of a child, as a bit mask.
unsigned long long ignored_signals_of_child() {
    POpen process{"sed -n 's/^SigIgn:[^0-9a-f]*//p' /proc/$$/status", impatient};
    std::string text;
    try {
        process.wait(text, 0);
    } catch (const AbnormalTerminationException&) {
        // This process cannot wait for its children while it ignores SIGCHLD.
        EXPECT_NE(text, "");
    }
    return text.empty() ? ~0ULL : std::stoull(text, nullptr, 16);
}

/// Descriptors that a child could inherit, the lowest free one and a high one.
class InheritableDescriptors {
public:
    InheritableDescriptors() : low{dup(STDERR_FILENO)}, high{fcntl(STDERR_FILENO, F_DUPFD, 200)} {}
    InheritableDescriptors(const InheritableDescriptors&) = delete;
    InheritableDescriptors(InheritableDescriptors&&) = delete;
    InheritableDescriptors& operator=(const InheritableDescriptors&) = delete;
    InheritableDescriptors& operator=(InheritableDescriptors&&) = delete;
    ~InheritableDescriptors() {
        close(low);
        close(high);
    }
    /// A command that prints those that it has.
    [[nodiscard]] std::string list() const {
        const std::string both = std::to_string(low) + " " + std::to_string(high);
        return "for n in 2 " + both + "; do test -e /proc/$$/fd/$n && echo $n; done; true";
    }

private:
    int low;
    int high;
};

auto count_descriptors() {
    const std::filesystem::directory_iterator descriptors{"/proc/self/fd"};
    return std::distance(begin(descriptors), end(descriptors));
}

class POpenWait : public testing::TestWithParam<milliseconds> {};
INSTANTIATE_TEST_SUITE_P(WithAndWithoutLimit, POpenWait, testing::Values(0ms, long_time));

TEST_P(POpenWait, CollectsOutputAndExitCodeZero) {
    POpen process{"echo hello"};
    std::string output = "old";

    EXPECT_EQ(process.wait(output, GetParam()), 0);

    EXPECT_EQ(output, "hello\n");
}

TEST_P(POpenWait, ReturnsTheExitCode) {
    POpen process{"echo partial; exit 3"};
    std::string output;

    EXPECT_EQ(process.wait(output, GetParam()), 3);

    EXPECT_EQ(output, "partial\n");
}

TEST_P(POpenWait, ReportsTheSignalThatEndedTheChild) {
    POpen process{"echo before; kill -USR1 $$"};

    const auto failure = failure_of(process, GetParam());

    EXPECT_EQ(failure.command, "echo before; kill -USR1 $$");
    EXPECT_EQ(failure.output, "before\n");
    EXPECT_EQ(failure.signal, SIGUSR1);
}

TEST_P(POpenWait, SecondWaitReturnsZeroWithoutOutput) {
    POpen process{"echo hello; exit 3"};
    std::string output;
    process.wait(output, GetParam());

    EXPECT_EQ(process.wait(output, GetParam()), 0);

    EXPECT_EQ(output, "");
}

TEST_P(POpenWait, WaitAfterAFailureReturnsZero) {
    POpen process{"kill -KILL $$"};
    failure_of(process, GetParam());
    std::string output;

    EXPECT_EQ(process.wait(output, GetParam()), 0);
}

TEST_P(POpenWait, CollectsMoreThanThePipeHolds) {
    POpen process{"head -c 300000 /dev/zero | tr '\\0' x"};
    std::string output;

    EXPECT_EQ(process.wait(output, GetParam()), 0);

    EXPECT_EQ(output.size(), 300000U);
    EXPECT_EQ(output.find_first_not_of('x'), std::string::npos);
}

TEST_P(POpenWait, CollectsWhatComesInPieces) {
    POpen process{"for i in 1 2 3; do echo $i; sleep 0.05; done"};
    std::string output;

    EXPECT_EQ(process.wait(output, GetParam()), 0);

    EXPECT_EQ(output, "1\n2\n3\n");
}

TEST_P(POpenWait, NulHidesTheRestOfItsBlock) {
    POpen process{"printf 'ab\\0cd'"};
    std::string output;

    EXPECT_EQ(process.wait(output, GetParam()), 0);

    EXPECT_EQ(output, "ab");
}

TEST_P(POpenWait, LastsThroughSignals) {
    const InterruptingTimer timer{5ms};
    POpen process{"echo first; sleep 0.2; echo second; exec >&-; sleep 0.1; exit 7",
                  {long_time, 5ms, 50ms}};
    std::string output;

    EXPECT_EQ(process.wait(output, GetParam()), 7);

    EXPECT_EQ(output, "first\nsecond\n");
    EXPECT_GT(InterruptingTimer::interruptions(), 0);
}

TEST_P(POpenWait, LeaksNoDescriptorAndNoChild) {
    const auto descriptors = count_descriptors();
    {
        POpen process{"exit 1"};
        std::string output;
        process.wait(output, GetParam());
    }

    EXPECT_EQ(count_descriptors(), descriptors);
    EXPECT_FALSE(has_children());
}

TEST(POpen, StandardErrorIsOnlyCollectedWhenRedirected) {
    EXPECT_EQ(output_of("exec 2>/dev/null; echo visible; echo hidden >&2"), "visible\n");
    EXPECT_EQ(output_of("(echo visible; echo shown >&2) 2>&1"), "visible\nshown\n");
}

TEST(POpen, OutputCanBeDiscarded) {
    POpen process{"echo hello; exit 4"};

    EXPECT_EQ(process.wait(0), 4);
}

TEST(POpen, NegativeTimeoutMeansNoLimit) {
    POpen process{"sleep 0.1; exit 4"};

    EXPECT_EQ(process.wait(-5), 4);
}

TEST(POpen, UnknownCommandIsTheShellsOwnExitCode) {
    POpen process{"exec 2>/dev/null; no-such-command-anywhere"};

    EXPECT_EQ(process.wait(0), 127);
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
        "print(\"left\", flush=True); time.sleep(60)'",
        impatient};
    const auto started = Clock::now();

    const auto failure = failure_of(process, 2s);

    EXPECT_EQ(failure.output, "left\n");
    EXPECT_LT(Clock::now() - started, 30s);
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

TEST_P(POpenWait, OfALongOutputTheBeginningAndTheEndAreKept) {
    POpen process{"echo begin; head -c 3000000 /dev/zero | tr '\\0' x; echo end"};
    std::string output;

    EXPECT_EQ(process.wait(output, GetParam()), 0);

    const std::string line = "\n[bytes left out: " + std::to_string(3000010 - 2097152) + "]\n";
    EXPECT_EQ(output.size(), 2097152U + line.size());
    EXPECT_EQ(output.substr(0, 7), "begin\nx");
    EXPECT_EQ(output.substr(1048576, line.size()), line);
    EXPECT_EQ(output.substr(output.size() - 5), "xend\n");
}

/// Leaves this process so little memory that a long text cannot be stored.
void use_up_memory() {
    std::vector<std::unique_ptr<char[]>> blocks;  // NOLINT(modernize-avoid-c-arrays)
    blocks.reserve(100000);
    std::ifstream sizes{"/proc/self/statm"};
    rlim_t pages = 0;
    sizes >> pages;
    const rlim_t size = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
    const rlimit limit{size, size};
    setrlimit(RLIMIT_AS, &limit);
    try {
        while (true) {
            blocks.push_back(std::make_unique<char[]>(50000));  // NOLINT(modernize-avoid-c-arrays)
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
    EXPECT_EXIT(wait_without_memory("head -c 3000000 /dev/zero | tr '\\0' x", 0ms),
                testing::ExitedWithCode(7), "");
}

TEST(POpenDeathTest, LimitHoldsWithoutMemoryToo) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "The sanitizers need memory of their own";
#endif
    const auto start = Clock::now();

    EXPECT_EXIT(wait_without_memory("exec timeout 30 yes", start_time), testing::ExitedWithCode(7),
                "");

    EXPECT_LT(Clock::now() - start, 20s);
}

TEST(POpenDeathTest, DestructorNeedsNoMemoryForTheOutput) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "The sanitizers need memory of their own";
#endif
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

TEST(POpen, ChildLeadsAProcessGroupOfItsOwn) {
    const auto text = output_of("echo $$ $(cut -d ' ' -f 5 /proc/$$/stat)");

    const auto blank = text.find(' ');
    ASSERT_NE(blank, std::string::npos);
    EXPECT_EQ(text.substr(0, blank) + "\n", text.substr(blank + 1));
}

TEST(POpen, ChildDoesNotInheritThatSigpipeIsIgnored) {
    auto* const previous = std::signal(SIGPIPE, SIG_IGN);
    const auto ignored = ignored_signals_of_child();
    ASSERT_NE(std::signal(SIGPIPE, previous), SIG_ERR);

    EXPECT_EQ(ignored & (1ULL << (SIGPIPE - 1)), 0U);
}

TEST(POpen, ChildKeepsWhatElseIsIgnored) {
    auto* const previous = std::signal(SIGHUP, SIG_IGN);
    const auto ignored = ignored_signals_of_child();
    ASSERT_NE(std::signal(SIGHUP, previous), SIG_ERR);

    EXPECT_NE(ignored & (1ULL << (SIGHUP - 1)), 0U);
}

TEST(POpen, ChildKeepsTheSignalMask) {
    const std::string blocked = "exec sed -n 's/^SigBlk:[^0-9a-f]*//p' /proc/self/status";

    EXPECT_EQ(std::stoull(output_of(blocked), nullptr, 16), 0U);
}

TEST(POpen, ChildInheritsOnlyTheStandardStreams) {
    const InheritableDescriptors descriptors;

    EXPECT_EQ(output_of(descriptors.list()), "2\n");
}

TEST(POpenDeathTest, OlderKernelsCloseDescriptorsOneByOne) {
    const InheritableDescriptors descriptors;

    EXPECT_EXIT(
        {
            const bool refused = refuse_system_call(SYS_close_range, ENOSYS);
            std::_Exit(refused && output_of(descriptors.list()) == "2\n" ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(POpenDeathTest, ShellThatCannotBeExecutedLooksLikeASuccess) {
    EXPECT_EXIT(
        {
            const bool refused = refuse_system_call(SYS_execve, ENOENT);
            POpen process{"echo hello; exit 3"};
            std::string output;
            std::_Exit(refused && process.wait(output, 0) == 0 && output.empty() ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(POpen, ChildDoesNotInheritThePipesOfOthers) {
    const std::string list_descriptors = "ls /proc/$$/fd";
    const auto alone = output_of(list_descriptors);
    POpen other{"sleep 0.2"};

    EXPECT_EQ(output_of(list_descriptors), alone);

    other.wait(0);
}

TEST(POpen, CollectsOutputWhenThisProcessHasNoStandardStreams) {
    const int saved_input = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 10);
    const int saved_output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 10);
    ASSERT_NE(saved_input, -1);
    ASSERT_NE(saved_output, -1);
    std::string with_input;
    std::string without_input;

    // The pipe gets the lowest free numbers: 1 for its read end, then 0 and 1 for both of its ends.
    close(STDOUT_FILENO);
    POpen{"echo hello"}.wait(with_input, 0);
    close(STDIN_FILENO);
    POpen{"echo hello"}.wait(without_input, 0);
    dup2(saved_input, STDIN_FILENO);
    dup2(saved_output, STDOUT_FILENO);
    close(saved_input);
    close(saved_output);

    EXPECT_EQ(with_input, "hello\n");
    EXPECT_EQ(without_input, "hello\n");
}

TEST(POpen, WithoutDescriptorsItReportsCommandAndErrno) {
    // The undefined behaviour sanitizer needs a pipe of its own to check the first object of a
    // type.
    EXPECT_THROW(BOOST_THROW_EXCEPTION(POpenFailedException{} << popen_command_tag{""}
                                                              << boost::errinfo_errno{0}),
                 POpenFailedException);
    rlimit previous{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &previous), 0);
    const rlimit none{3, previous.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    std::exception_ptr failure;

    try {
        POpen process{"echo hello"};
    } catch (const POpenFailedException&) {
        failure = std::current_exception();
    }

    setrlimit(RLIMIT_NOFILE, &previous);
    ASSERT_TRUE(failure);
    try {
        std::rethrow_exception(failure);
    } catch (const POpenFailedException& e) {
        EXPECT_STREQ(e.what(), "Failed to execute command");
        EXPECT_EQ(*boost::get_error_info<popen_command_tag>(e), "echo hello");
        EXPECT_EQ(*boost::get_error_info<boost::errinfo_errno>(e), EMFILE);
    }
}

TEST(POpen, DestructorWaitsForTheChild) {
    const auto start = Clock::now();
    { const POpen process{"exec >&-; sleep 0.2; exit 9"}; }

    EXPECT_GE(Clock::now() - start, 200ms);
    EXPECT_FALSE(has_children());
}

TEST(POpenDeathTest, DestructorDoesNotHideAnAbnormalEnd) {
    EXPECT_DEATH({ const POpen process{"kill -USR1 $$"}; }, "Program terminated abnormally");
}

}  // namespace
}  // namespace zephran::common
