#pragma once

#include <string>

#include <sys/types.h>

#include "unique_fd.h"

namespace zephran::ubusd {

/// The socket that clients connect to.
class Listener {
public:
    /// Takes the path over from whoever had it. Anything but a socket stays where it is.
    /// @throws std::system_error naming the path when listening there is not possible.
    explicit Listener(const std::string& socket_path);
    /// Removes the socket, unless another broker has taken the path over.
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    [[nodiscard]] int descriptor() const { return socket.get(); }

    /// Never waits.
    /// @return a descriptor below zero, with errno, when there is no connection to accept.
    [[nodiscard]] UniqueFd accept() const;

private:
    std::string path;
    UniqueFd socket;
    /// What was made at the path: its file system, and its number there.
    dev_t device = 0;
    ino_t inode = 0;
};

}  // namespace zephran::ubusd
