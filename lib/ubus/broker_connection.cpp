// SPDX-License-Identifier: Apache-2.0
#include "ubus/broker_connection.h"

#include <cerrno>
#include <utility>

#include <boost/exception/errinfo_errno.hpp>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include "common/logprint.h"
#include "ubus/exceptions.h"
#include "ubus/signal_dispositions.h"

namespace zephran::ubus {

BrokerConnection::BrokerConnection(std::string path) : socket_path{std::move(path)} {}

BrokerConnection::~BrokerConnection() {
    close();
}

const char* BrokerConnection::path_or_default() const {
    return socket_path.empty() ? nullptr : socket_path.c_str();
}

void BrokerConnection::open() {
    const SignalDispositions kept;
    context = ubus_connect(path_or_default());
    if (context == nullptr) {
        ZEPHRAN_THROW(UbusConnectException{} << boost::errinfo_errno{errno});
    }
    adopt_descriptor();
    note_broker_address();
}

bool BrokerConnection::reopen() {
    // By now the daemon has its own handlers for SIGINT and SIGTERM, which the library does not
    // touch. Restoring them here could undo a change by the main thread.
    const SignalDispositions kept{SIGCHLD};
    close();
    // The library's own function for this also registers the objects, and waits for the answers
    // on a descriptor that only it knows.
    context = ubus_connect(path_or_default());
    if (context == nullptr) {
        return false;
    }
    adopt_descriptor();
    return true;
}

void BrokerConnection::close() {
    if (context != nullptr) {
        give_up();
        ubus_free(context);
        context = nullptr;
    }
}

void BrokerConnection::adopt_descriptor() {
    descriptor = context->sock.fd;
    // A child process that outlives the daemon must not keep the object's name taken.
    if (::fcntl(context->sock.fd, F_SETFD, FD_CLOEXEC) != 0) {
        ZLOG_WARNING("event", "ubus", "message", "could not keep connection from children");
    }
}

// Only the library knows its default path, so the address comes from the connection.
void BrokerConnection::note_broker_address() {
    socklen_t size = sizeof broker_address_;
    if (::getpeername(context->sock.fd, reinterpret_cast<sockaddr*>(&broker_address_), &size) !=
        0) {
        ZEPHRAN_THROW(UbusConnectException{} << boost::errinfo_errno{errno});
    }
}

// poll() ignores negative descriptors. The socket of a lost connection stays readable, and polling
// it would make the thread spin.
BrokerConnection::Input BrokerConnection::wait_for_input(std::chrono::milliseconds time) const {
    pollfd input{descriptor, POLLIN, 0};
    if (::poll(&input, 1, static_cast<int>(time.count())) <= 0) {
        return Input::none;
    }
    constexpr int broken = POLLHUP | POLLERR | POLLNVAL;
    return (input.revents & broken) != 0 ? Input::connection_is_broken : Input::some;
}

bool BrokerConnection::can_send_at_once() const {
    constexpr int not_at_all = 0;
    pollfd output{descriptor, POLLOUT, 0};
    return ::poll(&output, 1, not_at_all) == 1 && output.revents == POLLOUT;
}

void BrokerConnection::shut_down() const {
    (void)::shutdown(descriptor, SHUT_RDWR);
}

}  // namespace zephran::ubus
