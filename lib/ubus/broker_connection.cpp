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
        BOOST_THROW_EXCEPTION(UbusConnectException{} << boost::errinfo_errno{errno});
    }
    adopt_descriptor();
    note_broker_address();
}

bool BrokerConnection::reopen() {
    // By now the daemon has handlers of its own for the other two, which the library leaves alone.
    // Putting those back could undo what the main thread does to them meanwhile.
    const SignalDispositions kept{SIGCHLD};
    if (ubus_reconnect(context, path_or_default()) == UBUS_STATUS_OK) {
        adopt_descriptor();
        return true;
    }
    // The library may leave the number of a descriptor here that it has closed, and would close it
    // again: by then it may be that of a file or of a transfer.
    context->sock.fd = no_descriptor;
    return false;
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
    // A program that outlives the daemon must not keep the object's name taken.
    if (::fcntl(context->sock.fd, F_SETFD, FD_CLOEXEC) != 0) {
        ZLOG_WARNING("event", "ubus", "message", "could not keep connection from children");
    }
}

// Only the library knows its default path.
void BrokerConnection::note_broker_address() {
    socklen_t size = sizeof broker_address_;
    if (::getpeername(context->sock.fd, reinterpret_cast<sockaddr*>(&broker_address_), &size) !=
        0) {
        BOOST_THROW_EXCEPTION(UbusConnectException{} << boost::errinfo_errno{errno});
    }
}

// poll() ignores a descriptor below zero. The socket of a broker that is gone stays readable for
// ever and would have the thread spin.
bool BrokerConnection::wait_for_input(std::chrono::milliseconds time) const {
    pollfd input{descriptor, POLLIN, 0};
    const int ready = ::poll(&input, 1, static_cast<int>(time.count()));
    constexpr int broken = POLLHUP | POLLERR | POLLNVAL;
    return ready > 0 && (input.revents & broken) != 0;
}

void BrokerConnection::shut_down() const {
    (void)::shutdown(descriptor, SHUT_RDWR);
}

}  // namespace zephran::ubus
