// SPDX-License-Identifier: Apache-2.0
#include "common/popen.h"

#include <cerrno>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iterator>
#include <utility>

#include <boost/exception/errinfo_errno.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "common/file_descriptor.h"
#include "popen_test.h"
#include "support/emulator.h"
#include "support/interrupting_timer.h"
#include "support/refused_system_call.h"
#include "support/temporary_directory.h"

namespace zephran::common {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

std::string output_of(const std::string& command) {
    POpen process{command};
    std::string output;
    EXPECT_EQ(process.wait(output, 0), 0);
    return output;
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

TEST(POpen, StandardErrorIsOnlyCollectedWhenRedirected) {
    EXPECT_EQ(output_of("exec 2>/dev/null; echo visible; echo hidden >&2"), "visible\n");
    EXPECT_EQ(output_of("(echo visible; echo shown >&2) 2>&1"), "visible\nshown\n");
}

TEST(POpen, OutputCanBeDiscarded) {
    POpen process{"echo hello; exit 4"};

    EXPECT_EQ(process.wait(0), 4);
}

TEST(POpen, UnknownCommandIsTheShellsOwnExitCode) {
    POpen process{"exec 2>/dev/null; no-such-command-anywhere"};

    EXPECT_EQ(process.wait(0), 127);
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

TEST(POpen, OneDescriptorIsInheritedAsNumberThree) {
    const TemporaryDirectory directory;
    const FileDescriptor file{
        open(directory.write("file", "inherited\n").c_str(), O_RDONLY | O_CLOEXEC)};
    POpen process{"cat <&3", {}, file.get()};
    std::string output;

    EXPECT_EQ(process.wait(output, 0), 0);

    EXPECT_EQ(output, "inherited\n");
}

TEST(POpenDeathTest, OlderKernelsCloseDescriptorsOneByOne) {
    if (is_emulated()) {
        GTEST_SKIP() << "The filter would judge the system calls of the emulator";
    }
    const InheritableDescriptors descriptors;

    EXPECT_EXIT(
        {
            const bool refused = refuse_system_call(SYS_close_range, ENOSYS);
            std::_Exit(refused && output_of(descriptors.list()) == "2\n" ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(POpenDeathTest, ShellThatCannotBeExecutedLooksLikeASuccess) {
    if (is_emulated()) {
        GTEST_SKIP() << "The filter would judge the system calls of the emulator";
    }
    EXPECT_EXIT(
        {
            const bool refused = refuse_system_call(SYS_execve, ENOENT);
            POpen process{"echo hello; exit 3"};
            std::string output;
            std::_Exit(refused && process.wait(output, 0) == 0 && output.empty() ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(POpenDeathTest, ShellThatCannotBeStartedIsReportedWithTheReason) {
    if (is_emulated()) {
        GTEST_SKIP() << "The filter would judge the system calls of the emulator";
    }
    EXPECT_EXIT(
        {
            // Not every build uses the first one.
            const bool refused =
                refuse_system_call(SYS_vfork, EAGAIN) && refuse_system_call(SYS_clone, EAGAIN);
            try {
                const POpen process{"echo hello"};
            } catch (const POpenFailedException& error) {
                const int* const reason = boost::get_error_info<boost::errinfo_errno>(error);
                std::_Exit(refused && reason != nullptr && *reason == EAGAIN ? 7 : 1);
            }
            std::_Exit(1);
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
    EXPECT_THROW(
        ZEPHRAN_THROW(POpenFailedException{} << popen_command_tag{""} << boost::errinfo_errno{0}),
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
