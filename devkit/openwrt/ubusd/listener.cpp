#include "listener.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace zephran::ubusd {

namespace {

[[noreturn]] void fail(int error, const std::string& path) {
    throw std::system_error{error, std::generic_category(), "cannot listen on " + path};
}

sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        fail(path.empty() ? EINVAL : ENAMETOOLONG, path);
    }
    std::memcpy(&address.sun_path[0], path.c_str(), path.size());
    return address;
}

void remove_socket(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        ::unlink(path.c_str());
    }
}

}  // namespace

Listener::Listener(const std::string& socket_path)
    : path{socket_path}, socket{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)} {
    const sockaddr_un address = address_of(path);
    remove_socket(path);
    // Everyone may connect, and no moment passes in which only the owner may.
    const mode_t umask_before = ::umask(S_IXUSR | S_IXGRP | S_IXOTH);
    const int bound =
        ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    const int error = errno;
    ::umask(umask_before);
    if (bound != 0) {
        fail(error, path);
    }
    struct stat status {};
    if (::listen(socket.get(), SOMAXCONN) != 0 || ::lstat(path.c_str(), &status) != 0) {
        fail(errno, path);
    }
    device = status.st_dev;
    inode = status.st_ino;
}

Listener::~Listener() {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && status.st_dev == device && status.st_ino == inode) {
        ::unlink(path.c_str());
    }
}

UniqueFd Listener::accept() const {
    return UniqueFd{::accept4(socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)};
}

}  // namespace zephran::ubusd
