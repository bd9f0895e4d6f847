// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace zephran::test {

/// The address of a socket in the file system. A path that is too long for it is cut.
inline sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
    return address;
}

/// Takes the place of whatever was at this path.
/// @returns a listening socket; the caller closes it
/// @throws std::system_error
inline int listen_at(const std::string& path, int backlog) {
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = address_of(path);
    (void)::unlink(path.c_str());
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, backlog) != 0) {
        throw std::system_error{errno, std::generic_category(), path};
    }
    return listener;
}

/// Accepts connections in place of a broker, and sends nothing of its own accord.
class MuteBroker {
public:
    explicit MuteBroker(const std::string& path, int backlog = 1)
        : listener{listen_at(path, backlog)} {}
    MuteBroker(const MuteBroker&) = delete;
    MuteBroker& operator=(const MuteBroker&) = delete;
    ~MuteBroker() {
        for (const int connection : connections) {
            ::close(connection);
        }
        ::close(listener);
    }

    void hang_up_on_connection() const { ::close(accept()); }
    /// @returns the connection, which stays open
    int wait_for_connection() { return connections.emplace_back(accept()); }

private:
    [[nodiscard]] int accept() const { return ::accept(listener, nullptr, nullptr); }

    int listener;
    std::vector<int> connections;
};

}  // namespace zephran::test
