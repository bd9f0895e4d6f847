#include <cerrno>
#include <csignal>
#include <exception>
#include <iostream>
#include <string>
#include <system_error>

#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "protocol.h"
#include "server.h"
#include "unique_fd.h"

namespace zephran::ubusd {

namespace {

/// Readable once the process is asked to end; nothing interrupts the server meanwhile.
UniqueFd stop_signals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGTERM);
    ::sigaddset(&signals, SIGINT);
    if (::sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) {
        throw std::system_error{errno, std::generic_category(), "sigprocmask"};
    }
    UniqueFd readable{::signalfd(-1, &signals, SFD_CLOEXEC)};
    if (readable.get() < 0) {
        throw std::system_error{errno, std::generic_category(), "signalfd"};
    }
    return readable;
}

void make_default_directory() {
    constexpr mode_t mode = 0755;
    if (::mkdir(default_socket_directory, mode) != 0 && errno != EEXIST) {
        throw std::system_error{errno, std::generic_category(), default_socket_directory};
    }
}

/// @return the path to listen on; empty for a wrong command line.
std::string socket_from(int argc, char* argv[]) {
    std::string path = default_socket;
    int option = 0;
    while ((option = ::getopt(argc, argv, "s:")) != -1) {
        if (option != 's') {
            return {};
        }
        path = optarg;
    }
    return optind == argc ? path : std::string{};
}

}  // namespace

}  // namespace zephran::ubusd

int main(int argc, char* argv[]) {
    namespace ubusd = zephran::ubusd;
    const std::string path = ubusd::socket_from(argc, argv);
    if (path.empty()) {
        std::cerr << "Usage: ubusd [-s socket]\n";
        return 1;
    }
    try {
        const ubusd::UniqueFd stop = ubusd::stop_signals();
        if (path == ubusd::default_socket) {
            ubusd::make_default_directory();
        }
        ubusd::Server server{path};
        server.run(stop.get());
    } catch (const std::exception& error) {
        std::cerr << "ubusd: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
