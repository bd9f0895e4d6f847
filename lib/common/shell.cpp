// SPDX-License-Identifier: Apache-2.0
#include "common/shell.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace zephran::common {

namespace {

// Older headers do not know it. All but a few old architectures share the number; where it is
// another one, the call fails and descriptors are closed one by one.
#ifdef SYS_close_range
constexpr long close_range_number = SYS_close_range;
#else
constexpr long close_range_number = 436;
#endif

// The functions up to become_shell() run in the memory of the suspended parent, so they may only
// make system calls.

void close_one_by_one(int first) {
    constexpr rlim_t most = 65536;
    rlimit limit{};
    // The hard limit, because the other one may have been lowered after descriptors were opened.
    const rlim_t end =
        getrlimit(RLIMIT_NOFILE, &limit) == 0 ? std::min(limit.rlim_max, most) : most;
    for (int descriptor = first; descriptor < static_cast<int>(end); ++descriptor) {
        close(descriptor);
    }
}

void close_from(int first) {
    // Kernels before 5.9 do not have it.
    if (syscall(close_range_number, first, ~0U, 0U) != 0) {
        close_one_by_one(first);
    }
}

/// @returns the first number that the shell must not have
int keep(int inherited) {
    constexpr int first = STDERR_FILENO + 1;
    if (inherited == -1) {
        return first;
    }
    if (inherited == first) {
        fcntl(first, F_SETFD, 0);
    } else {
        dup2(inherited, first);
    }
    return first + 1;
}

void reset_signals(const sigset_t& not_ignored, const sigset_t& mask) {
    struct sigaction default_action {};
    default_action.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction current {};
        // The daemon ignores SIGPIPE, and a shell cannot reset a signal that is ignored at its
        // start. A handler would change the parent's memory.
        if (number == SIGPIPE || number == SIGCHLD || sigismember(&not_ignored, number) == 1 ||
            (sigaction(number, nullptr, &current) == 0 && current.sa_handler != SIG_DFL &&
             current.sa_handler != SIG_IGN)) {
            sigaction(number, &default_action, nullptr);
        }
    }
    sigprocmask(SIG_SETMASK, &mask, nullptr);
}

[[noreturn]] void become_shell(const char* command, const ShellStart& start, const sigset_t& mask) {
    if (start.output == STDOUT_FILENO) {
        // A parent without a standard output gets this number for a pipe.
        fcntl(STDOUT_FILENO, F_SETFD, 0);
    } else {
        dup2(start.output, STDOUT_FILENO);
    }
    close_from(keep(start.inherited));
    if (start.leads_group) {
        setpgid(0, 0);
    }
    reset_signals(start.not_ignored, mask);
    execl("/bin/sh", "/bin/sh", "-c", command, nullptr);
    _exit(start.status_without_shell);
}

// A separate function, so that the child does not clean up objects of the parent.
pid_t fork_shell(const char* command, const ShellStart& start, const sigset_t& mask) {
    // vfork() because the gateways have little memory: fork() copies the daemon's page tables.
    const pid_t child = vfork();  // NOLINT(clang-analyzer-security.insecureAPI.vfork)
    if (child == 0) {
        // NOLINTNEXTLINE(clang-analyzer-unix.Vfork): it never returns and makes system calls only
        become_shell(command, start, mask);
    }
    return child;
}

}  // namespace

pid_t start_shell(const char* command, const ShellStart& start) {
    sigset_t all{};
    sigset_t previous{};
    sigfillset(&all);
    // Until its handlers are reset, a signal in the child would run them in this process.
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    const pid_t child = fork_shell(command, start, previous);
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    errno = error;
    return child;
}

std::string quote_for_shell(const std::string& text) {
    std::string quoted = "'";
    for (const char character : text) {
        quoted += character == '\'' ? R"('\'')" : std::string{character};
    }
    return quoted + "'";
}

pid_t wait_for_child(pid_t child, int& status, int options) {
    pid_t result = -1;
    do {
        result = waitpid(child, &status, options);
    } while (result == -1 && errno == EINTR);
    return result;
}

}  // namespace zephran::common
