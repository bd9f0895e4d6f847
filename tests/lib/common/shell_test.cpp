// SPDX-License-Identifier: Apache-2.0
#include "common/shell.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "common/file_descriptor.h"
#include "support/emulator.h"
#include "support/refused_system_call.h"
#include "support/temporary_directory.h"

namespace {

/// Whether a program is executed that prints what it has got. A shell would not do: some of them
/// change the signals that they were started with before they run anything.
bool status_instead_of_shell = false;

/// Whether the shell cannot be executed.
bool has_no_shell = false;

/// Whether a signal comes as soon as there is a child, and whether a handler has seen it.
bool signal_comes_early = false;
volatile std::sig_atomic_t handled = 0;

}  // namespace

// The linker makes up these names.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,cert-dcl50-cpp)
extern "C" int __real_execl(const char* path, const char* name, ...);
extern "C" int __wrap_execl(const char* path, const char* name, ...) {
    if (has_no_shell) {
        return -1;
    }
    if (status_instead_of_shell) {
        return __real_execl("/bin/cat", "cat", "/proc/self/status", nullptr);
    }
    va_list arguments;
    va_start(arguments, name);
    const char* const option = va_arg(arguments, const char*);
    const char* const command = va_arg(arguments, const char*);
    va_end(arguments);
    return __real_execl(path, name, option, command, nullptr);
}

extern "C" int __real_dup2(int from, int to);
extern "C" int __wrap_dup2(int from, int to) {
    const int result = __real_dup2(from, to);
    if (signal_comes_early) {
        kill(getpid(), SIGUSR1);
    }
    return result;
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,cert-dcl50-cpp)

namespace zephran::common {
namespace {

/// What a shell prints to its standard output.
/// @param output number that its output has in this process; -1 for any
std::string output_of(const std::string& command, ShellStart start = {}, int output = -1) {
    const TemporaryDirectory directory;
    const FileDescriptor file{
        open(directory.path("output").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR)};
    if (output != -1) {
        dup3(file.get(), output, O_CLOEXEC);
    }
    start.output = output == -1 ? file.get() : output;
    const pid_t child = start_shell(command.c_str(), start);
    EXPECT_NE(child, -1);
    int status = 0;
    // Waits, but fails, while this process ignores SIGCHLD.
    wait_for_child(child, status, 0);
    return directory.read("output");
}

/// The signals that the first program ignores, as a bit mask.
unsigned long long ignored_by_first_program(const ShellStart& start = {}) {
    status_instead_of_shell = true;
    const std::string status = output_of("", start);
    status_instead_of_shell = false;
    const std::string title = "SigIgn:";
    const auto place = status.find(title);
    return place == std::string::npos
               ? ~0ULL
               : std::stoull(status.substr(place + title.size()), nullptr, 16);
}

constexpr unsigned long long bit_of(int signal) {
    return 1ULL << static_cast<unsigned>(signal - 1);
}

/// Ignores signals while it lives.
class IgnoredSignals {
public:
    explicit IgnoredSignals(std::vector<int> signal_numbers) : numbers{std::move(signal_numbers)} {
        set(SIG_IGN);
    }
    IgnoredSignals(const IgnoredSignals&) = delete;
    IgnoredSignals(IgnoredSignals&&) = delete;
    IgnoredSignals& operator=(const IgnoredSignals&) = delete;
    IgnoredSignals& operator=(IgnoredSignals&&) = delete;
    ~IgnoredSignals() { set(SIG_DFL); }

private:
    void set(void (*disposition)(int)) const {
        for (const int number : numbers) {
            EXPECT_NE(std::signal(number, disposition), SIG_ERR);
        }
    }

    std::vector<int> numbers;
};

TEST(Shell, QuotedTextReachesAProgramAsItIs) {
    for (const std::string text : {"", "plain", "two words", "a'b''c'",
                                   R"($HOME `id` \ "x" & ; * ~)", "-n", "line\nline", R"(\')"}) {
        EXPECT_EQ(output_of("printf '%s.' " + quote_for_shell(text)), text + ".");
    }
}

TEST(Shell, FirstProgramHasTheDefaultOfSigpipeAndSigchld) {
    const IgnoredSignals ignored{{SIGPIPE, SIGCHLD}};

    EXPECT_EQ(ignored_by_first_program() & (bit_of(SIGPIPE) | bit_of(SIGCHLD)), 0U);
}

TEST(Shell, FirstProgramIgnoresWhatElseIsIgnored) {
    const IgnoredSignals ignored{{SIGHUP, SIGUSR1}};
    const auto both = bit_of(SIGHUP) | bit_of(SIGUSR1);

    EXPECT_EQ(ignored_by_first_program() & both, both);
}

TEST(Shell, SignalThatIsNotToBeIgnoredHasItsDefault) {
    const IgnoredSignals ignored{{SIGHUP, SIGUSR1}};
    ShellStart start;
    sigaddset(&start.not_ignored, SIGHUP);

    EXPECT_EQ(ignored_by_first_program(start) & (bit_of(SIGHUP) | bit_of(SIGUSR1)),
              bit_of(SIGUSR1));
}

TEST(Shell, SignalBeforeItsFirstProgramRunsNoHandlerOfThisProcess) {
    auto* const previous = std::signal(SIGUSR1, [](int) { handled = 1; });

    signal_comes_early = true;
    const std::string output = output_of("echo alive");
    signal_comes_early = false;
    ASSERT_NE(std::signal(SIGUSR1, previous), SIG_ERR);

    EXPECT_EQ(output, "");
    EXPECT_EQ(handled, 0);
}

TEST(Shell, IsCalledByItsPath) {
    EXPECT_EQ(output_of("echo $0"), "/bin/sh\n");
}

/// A descriptor of a file with a line of its own, closed in programs unless they inherit it.
class Heirloom {
public:
    explicit Heirloom(int number = -1) : file{open(path.c_str(), O_RDONLY | O_CLOEXEC)} {
        if (number != -1) {
            dup3(file.get(), number, O_CLOEXEC);
        }
        start.inherited = number == -1 ? file.get() : number;
    }

    ShellStart start;

private:
    TemporaryDirectory directory;
    std::string path = directory.write("heirloom", "inherited\n");
    FileDescriptor file;
};

const std::string list_descriptors =
    "for n in 2 3 4 5 6 7 200; do test -e /proc/$$/fd/$n && echo $n; done";

TEST(Shell, OneThatCannotBeExecutedHasTheStatusOfACommandThatIsNotFound) {
    has_no_shell = true;
    const pid_t child = start_shell("true", {});
    has_no_shell = false;

    int status = 0;
    ASSERT_EQ(wait_for_child(child, status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 127);
}

TEST(Shell, OneDescriptorIsInheritedAsNumberThree) {
    const Heirloom heirloom;

    EXPECT_EQ(output_of("cat <&3", heirloom.start), "inherited\n");
}

TEST(Shell, ProgramsOfTheShellInheritItToo) {
    const Heirloom heirloom;

    EXPECT_EQ(output_of("/bin/sh -c '/bin/sh -c \"cat <&3\"; true'", heirloom.start),
              "inherited\n");
}

TEST(Shell, NothingElseIsInheritedWithIt) {
    const Heirloom heirloom;
    const FileDescriptor low{dup(STDERR_FILENO)};
    const FileDescriptor high{fcntl(STDERR_FILENO, F_DUPFD, 200)};

    EXPECT_EQ(output_of(list_descriptors, heirloom.start), "2\n3\n");
    EXPECT_EQ(output_of(list_descriptors), "2\n");
}

// The numbers below may be in use, so these tests have processes of their own.

TEST(ShellDeathTest, DescriptorMayHaveThatNumberAlready) {
    EXPECT_EXIT(
        {
            const Heirloom heirloom{3};
            std::_Exit(output_of("cat <&3", heirloom.start) == "inherited\n" ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(ShellDeathTest, OtherDescriptorOfThatNumberIsNotInherited) {
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, 3);
            std::_Exit(output_of(list_descriptors) == "2\n" ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(ShellDeathTest, OutputMayHaveThatNumber) {
    EXPECT_EXIT(
        {
            const Heirloom heirloom{200};
            std::_Exit(output_of("cat <&3", heirloom.start, 3) == "inherited\n" ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(ShellDeathTest, OlderKernelsKeepItWhenTheyCloseOneByOne) {
    if (is_emulated()) {
        GTEST_SKIP() << "The filter would judge the system calls of the emulator";
    }
    EXPECT_EXIT(
        {
            const Heirloom heirloom{200};
            const bool refused = refuse_system_call(SYS_close_range, ENOSYS);
            std::_Exit(refused && output_of(list_descriptors, heirloom.start) == "2\n3\n" ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace zephran::common
