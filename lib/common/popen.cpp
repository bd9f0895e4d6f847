// SPDX-License-Identifier: Apache-2.0
#include "common/popen.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <thread>
#include <utility>

#include <boost/exception/errinfo_errno.hpp>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/file_descriptor.h"
#include "common/output_collector.h"
#include "common/shell.h"

namespace zephran::common {

namespace {

using std::chrono::milliseconds;

/// Signals everything that a child has started, and the child itself if it has left its group.
void signal_group_of(pid_t child, int number) {
    kill(-child, number);
    if (getpgid(child) != child) {
        kill(child, number);
    }
}

void stop_blocking(int descriptor) {
    const auto flags = static_cast<unsigned int>(fcntl(descriptor, F_GETFL));
    fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
}

/// Takes one block. False at the end of the output; a read error counts as such.
bool read_block(std::FILE* stream, OutputCollector& output) {
    std::array<char, 1024> block{};
    const std::size_t count = std::fread(block.data(), 1, block.size(), stream);
    const int error = errno;
    output.take({block.data(), strnlen(block.data(), count)});
    if (std::ferror(stream) == 0) {
        return std::feof(stream) == 0;
    }
    std::clearerr(stream);
    return error == EINTR || error == EAGAIN;
}

}  // namespace

void POpen::Close::operator()(std::FILE* open_stream) const {
    // The stream was only read, so a failure loses nothing.
    static_cast<void>(std::fclose(open_stream));
}

POpen::POpen(const std::string& shell_command, const TimeLimits& time_limits, int inherited)
    : command{shell_command}, limits{time_limits} {
    popen_for_reading(inherited);
}

// NOLINTNEXTLINE(bugprone-exception-escape): an abnormal end that nobody waits for ends the process
POpen::~POpen() {
    if (stream) {
        OutputCollector nothing;
        decode(collect_and_reap(nothing, milliseconds::zero()), {});
    }
}

void POpen::popen_for_reading(int inherited) {
    const auto fail = [this](int error) {
        ZEPHRAN_THROW(POpenFailedException{} << popen_command_tag{command}
                                             << boost::errinfo_errno{error});
    };
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) == -1) {
        fail(errno);
    }
    FileDescriptor read_end{ends[0]};
    const FileDescriptor write_end{ends[1]};
    stream.reset(fdopen(read_end.get(), "r"));
    if (!stream) {
        fail(errno);
    }
    read_end.release();
    // Nothing may hide in the stream's buffer while poll() looks at the pipe.
    if (std::setvbuf(stream.get(), nullptr, _IONBF, 0) != 0) {
        fail(errno);
    }
    ShellStart start;
    start.output = write_end.get();
    start.inherited = inherited;
    start.leads_group = true;
    start.status_without_shell = 0;
    const pid_t child = start_shell(command.c_str(), start);
    if (child <= 0) {
        fail(errno);
    }
    pid = child;
}

int POpen::wait(int timeout) {
    std::string discarded;
    return wait(discarded, timeout);
}

int POpen::wait(std::string& output, int timeout) {
    return wait(output, milliseconds{std::chrono::seconds{timeout}});
}

int POpen::wait(std::string& output, milliseconds limit) {
    return wait_until(limit, output);
}

int POpen::wait(std::string& output, const std::atomic<bool>& stop) {
    return wait_until(stop, output);
}

int POpen::wait_for_tool(std::string& output, milliseconds limit, const std::atomic<bool>& stop) {
    return wait_until(ToolEnd{Clock::now() + limit, stop}, output);
}

template <class End>
int POpen::wait_until(const End& end, std::string& output) {
    output.clear();
    if (!stream) {
        return 0;
    }
    OutputCollector collector{output};
    const boost::optional<int> status = collect_and_reap(collector, end);
    collector.finish();
    return decode(status, output);
}

boost::optional<int> POpen::collect_and_reap(OutputCollector& output, milliseconds limit) {
    boost::optional<int> status;
    if (limit <= milliseconds::zero()) {
        read_to_end(output);
        status = pclose_wait();
    } else {
        const auto deadline = Clock::now() + limit;
        read_until(output, deadline);
        status = pclose_kill(deadline);
    }
    forget_child();
    return status;
}

boost::optional<int> POpen::collect_and_reap(OutputCollector& output,
                                             const std::atomic<bool>& stop) {
    read_unless(stop, output);
    const boost::optional<int> status = pclose_unless(stop);
    forget_child();
    return status;
}

boost::optional<int> POpen::collect_and_reap(OutputCollector& output, const ToolEnd& end) {
    read_of_tool(end, output);
    const boost::optional<int> status = pclose_unless(end.stop, end.deadline);
    forget_child();
    return status;
}

void POpen::forget_child() {
    stream.reset();
    pid = 0;
}

void POpen::read_to_end(OutputCollector& output) {
    while (read_block(stream.get(), output)) {
    }
}

void POpen::read_until(OutputCollector& output, Clock::time_point deadline) {
    stop_blocking(fileno(stream.get()));
    // One block at a time, so that the limit also holds for a child that never stops writing.
    for (auto now = Clock::now(); now < deadline; now = Clock::now()) {
        if (!take_block_within(std::chrono::ceil<milliseconds>(deadline - now), output)) {
            return;
        }
    }
}

void POpen::read_unless(const std::atomic<bool>& stop, OutputCollector& output) {
    stop_blocking(fileno(stream.get()));
    while (!stop && take_block_within(limits.stop_check, output)) {
    }
    if (stop) {
        // What was written before the request belongs to the output.
        take_block_within(milliseconds::zero(), output);
    }
}

void POpen::read_of_tool(const ToolEnd& end, OutputCollector& output) {
    stop_blocking(fileno(stream.get()));
    auto until = end.deadline;
    bool has_ended = false;
    for (auto now = Clock::now(); now < until && !end.stop; now = Clock::now()) {
        if (!has_ended && has_ended_within(milliseconds::zero())) {
            has_ended = true;
            until = std::min(until, now + limits.after_end);
        }
        const auto time = std::min(limits.stop_check, std::chrono::ceil<milliseconds>(until - now));
        if (!take_block_within(time, output)) {
            return;
        }
    }
}

bool POpen::take_block_within(milliseconds time, OutputCollector& output) {
    pollfd readable{fileno(stream.get()), POLLIN, 0};
    const int ready =
        poll(&readable, 1, static_cast<int>(std::min<long long>(time.count(), INT_MAX)));
    if (ready <= 0) {
        return ready == 0 || errno == EINTR;
    }
    return read_block(stream.get(), output);
}

boost::optional<int> POpen::pclose_wait() const {
    int status = 0;
    if (wait_for_child(pid, status, 0) != pid) {
        return boost::none;
    }
    return status;
}

boost::optional<int> POpen::pclose_kill(Clock::time_point deadline) {
    const auto until = std::min(Clock::now() + limits.exit_grace, deadline);
    while (true) {
        int status = 0;
        const pid_t result = wait_for_child(pid, status, WNOHANG);
        if (result == pid) {
            return status;
        }
        if (result == -1) {
            // The child was reaped elsewhere; its id may belong to another process by now.
            return boost::none;
        }
        if (Clock::now() >= until) {
            return kill_child();
        }
        std::this_thread::sleep_for(limits.poll_step);
    }
}

boost::optional<int> POpen::kill_child() const {
    signal_group_of(pid, SIGTERM);
    std::this_thread::sleep_for(limits.term_to_kill);
    signal_group_of(pid, SIGKILL);
    // Every command that hangs would leave a zombie otherwise.
    int ignored = 0;
    wait_for_child(pid, ignored, 0);
    return boost::none;
}

boost::optional<int> POpen::pclose_unless(const std::atomic<bool>& stop,
                                          Clock::time_point deadline) const {
    // A child usually ends right after its output.
    milliseconds step{1};
    while (!stop) {
        if (has_ended_within(step)) {
            return pclose_wait();
        }
        if (Clock::now() >= deadline) {
            break;
        }
        step = limits.poll_step;
    }
    stop_child();
    return boost::none;
}

void POpen::stop_child() const {
    signal_group_of(pid, SIGTERM);
    has_ended_within(limits.term_to_kill);
    // Before it is reaped nobody else can have its id.
    signal_group_of(pid, SIGKILL);
    if (has_ended_within(limits.exit_grace)) {
        pclose_wait();
    }
}

bool POpen::has_ended_within(milliseconds time) const {
    const auto until = Clock::now() + time;
    while (true) {
        siginfo_t child{};
        const int result =
            waitid(P_PID, static_cast<id_t>(pid), &child, WEXITED | WNOHANG | WNOWAIT);
        // It fails for a child that was reaped elsewhere.
        if (result == -1 ? errno != EINTR : child.si_pid == pid) {
            return true;
        }
        if (Clock::now() >= until) {
            return false;
        }
        std::this_thread::sleep_for(std::min(limits.poll_step, time));
    }
}

int POpen::decode(const boost::optional<int>& status, const std::string& output) const {
    if (status && WIFEXITED(*status)) {
        return WEXITSTATUS(*status);
    }
    AbnormalTerminationException failure;
    failure << popen_command_tag{command} << program_output_tag{output};
    if (status && WIFSIGNALED(*status)) {
        failure << program_signal_tag{WTERMSIG(*status)};
    }
    ZEPHRAN_THROW(failure);
}

}  // namespace zephran::common
