// SPDX-License-Identifier: Apache-2.0
#include "support/private_broker.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/popen.h"

namespace zephran::test {

namespace {

bool accepts_connections(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::length_error{"The path of the bus is too long: " + path};
    }
    std::memcpy(static_cast<char*>(address.sun_path), path.c_str(), path.size());
    const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool accepted =
        ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(probe);
    return accepted;
}

}  // namespace

PrivateBroker::PrivateBroker() {
    start();
}

PrivateBroker::~PrivateBroker() {
    kill();
}

void PrivateBroker::start() {
    std::string program = UBUSD_PATH;
    std::string option = "-s";
    std::string path = socket();
    char* const arguments[] = {program.data(), option.data(), path.data(), nullptr};  // NOLINT
    const int error = posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, environ);
    if (error != 0) {
        throw std::system_error{error, std::generic_category(), program};
    }
    while (!accepts_connections(path)) {
        if (waitpid(process, nullptr, WNOHANG) != 0) {
            process = -1;
            throw std::runtime_error{"The broker ended at once"};
        }
        constexpr useconds_t step = 1000;
        usleep(step);
    }
}

void PrivateBroker::kill() {
    if (process > 0) {
        ::kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        process = -1;
    }
}

std::string PrivateBroker::command(const std::string& arguments) const {
    return std::string{UBUS_COMMAND_PATH} + " -s " + socket() + " -t 20 -S " + arguments + " 2>&1";
}

std::string PrivateBroker::listing(const std::string& name) const {
    return std::string{UBUS_COMMAND_PATH} + " -s " + socket() + " -v list " + name + " 2>&1";
}

CommandResult run_command(const std::string& command) {
    CommandResult result{};
    result.status = common::POpen{command}.wait(result.output, 0);
    return result;
}

}  // namespace zephran::test
