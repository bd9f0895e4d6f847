// SPDX-License-Identifier: Apache-2.0
#include "scripted_broker.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "libubox/bytes.h"

namespace zephran::ubus_standin {

namespace {

int checked(int result, const char* what) {
    if (result < 0) {
        throw std::system_error{errno, std::generic_category(), what};
    }
    return result;
}

void close_once(int& descriptor) {
    if (const int number = std::exchange(descriptor, -1); number >= 0) {
        close(number);
    }
}

}  // namespace

ScriptedBroker::ScriptedBroker() : socket_path{directory.path("ubus.sock")} {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket_path.size() >= sizeof(address.sun_path)) {
        throw std::invalid_argument{"path of the socket is too long"};
    }
    std::memcpy(&address.sun_path[0], socket_path.data(), socket_path.size());
    listener = checked(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    checked(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), "bind");
    checked(listen(listener, 1), "listen");
}

ScriptedBroker::~ScriptedBroker() {
    hang_up();
    stop_listening();
}

std::future<void> ScriptedBroker::welcome(const std::string& digits) {
    return std::async(std::launch::async, [this, digits] {
        hang_up();
        connection = checked(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC), "accept");
        const timeval limit{10, 0};
        checked(setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)),
                "setsockopt");
        send(digits);
    });
}

Context ScriptedBroker::connected_client(const std::string& digits) {
    auto welcomed = welcome(digits);
    Context context{ubus_connect(path().c_str()), &ubus_free};
    welcomed.get();
    if (context == nullptr) {
        throw std::runtime_error{"the client did not connect"};
    }
    return context;
}

bool ScriptedBroker::is_called() const {
    pollfd entry{listener, POLLIN, 0};
    return poll(&entry, 1, 0) > 0;
}

void ScriptedBroker::send(const std::string& digits) {
    const auto content = ubox_standin::bytes(digits);
    const ssize_t sent = ::send(connection, content.data(), content.size(), MSG_NOSIGNAL);
    if (sent != static_cast<ssize_t>(content.size())) {
        throw std::system_error{errno, std::generic_category(), "send"};
    }
}

std::string ScriptedBroker::receive(std::size_t length) {
    std::vector<char> content(length);
    const ssize_t received = recv(connection, content.data(), length, MSG_WAITALL);
    checked(static_cast<int>(received), "recv");
    return ubox_standin::hex(content.data(), static_cast<std::size_t>(received));
}

bool ScriptedBroker::is_silent() {
    char byte = 0;
    return recv(connection, &byte, 1, MSG_DONTWAIT) < 0 && errno == EAGAIN;
}

bool ScriptedBroker::sees_end() {
    char byte = 0;
    return recv(connection, &byte, 1, 0) == 0;
}

void ScriptedBroker::hang_up() {
    close_once(connection);
}

void ScriptedBroker::stop_listening() {
    close_once(listener);
}

}  // namespace zephran::ubus_standin
