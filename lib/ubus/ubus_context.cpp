#include "ubus/ubus_context.h"

#include <cerrno>
#include <utility>

#include <boost/exception/errinfo_errno.hpp>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include "common/logprint.h"
#include "ubus/broker_probe.h"
#include "ubus/exceptions.h"
#include "ubus/signal_dispositions.h"

namespace zephran::ubus {

namespace {

constexpr int no_descriptor = -1;

const char* path_or_default(const std::string& path) {
    return path.empty() ? nullptr : path.c_str();
}

}  // namespace

UbusContext::UbusContext() : UbusContext{Settings{}} {}

UbusContext::UbusContext(Settings chosen_settings)
    : descriptor{no_descriptor}, settings{std::move(chosen_settings)} {}

UbusContext::~UbusContext() {
    disconnect();
}

void UbusContext::connect() {
    const SignalDispositions kept;
    context = ubus_connect(path_or_default(settings.socket_path));
    if (context == nullptr) {
        BOOST_THROW_EXCEPTION(UbusConnectException{} << boost::errinfo_errno{errno});
    }
    connected = true;
    adopt_descriptor();
    note_broker_address();
}

void UbusContext::adopt_descriptor() {
    descriptor = context->sock.fd;
    // A program that outlives the daemon must not keep the object's name taken.
    if (::fcntl(context->sock.fd, F_SETFD, FD_CLOEXEC) != 0) {
        ZLOG_WARNING("event", "ubus", "message", "could not keep connection from children");
    }
}

// Only the library knows its default path.
void UbusContext::note_broker_address() {
    socklen_t size = sizeof broker_address;
    if (::getpeername(context->sock.fd, reinterpret_cast<sockaddr*>(&broker_address), &size) != 0) {
        BOOST_THROW_EXCEPTION(UbusConnectException{} << boost::errinfo_errno{errno});
    }
}

void UbusContext::disconnect() {
    stop_receiver();
    if (context != nullptr) {
        ubus_free(context);
        context = nullptr;
    }
}

void UbusContext::start_receiver() {
    stop_receiver();
    running = true;
    std::promise<void> end;
    receiver_end = end.get_future();
    receiver = std::make_unique<std::thread>([this, end = std::move(end)]() mutable {
        receiver_thread();
        end.set_value();
    });
}

void UbusContext::stop_receiver() {
    running = false;
    if (receiver != nullptr && receiver->joinable()) {
        if (receiver_end.wait_for(settings.stop_patience) != std::future_status::ready) {
            (void)::shutdown(descriptor, SHUT_RDWR);
        }
        receiver->join();
    }
    receiver.reset();
}

void UbusContext::receiver_thread() {
    while (running) {
        const bool is_broken = wait_for_input();
        if (connected) {
            poll_events();
            if (is_broken || context->sock.eof) {
                lose_connection();
            }
        }
        if (next_attempt && steady::now() >= *next_attempt) {
            try_to_recover();
        }
    }
}

void UbusContext::poll_events() {
    context->sock.cb(&context->sock, ULOOP_READ);
}

// poll() ignores a descriptor below zero. The socket of a broker that is gone stays readable for
// ever and would have the thread spin.
bool UbusContext::wait_for_input() const {
    pollfd input{connected ? context->sock.fd : no_descriptor, POLLIN, 0};
    const int ready = ::poll(&input, 1, static_cast<int>(settings.poll_interval.count()));
    constexpr int broken = POLLHUP | POLLERR | POLLNVAL;
    return ready > 0 && (input.revents & broken) != 0;
}

void UbusContext::lose_connection() {
    connected = false;
    descriptor = no_descriptor;
    if (!next_attempt) {
        ZLOG_WARNING("event", "ubus", "message", "connection lost");
    }
    next_attempt = steady::now() + settings.reconnect_interval;
}

void UbusContext::try_to_recover() {
    if (!connected) {
        connected = reconnect();
    }
    if (connected && (!restore || restore())) {
        next_attempt.reset();
        ZLOG_INFO("event", "ubus", "message", "connection restored");
    } else {
        next_attempt = steady::now() + settings.reconnect_interval;
    }
}

// Nobody at the noted address is no reason to stay away: a broker may be known under another path
// to itself, and the library fails at once where there is none.
bool UbusContext::is_broker_wedged() const {
    BrokerProbe probe{broker_address};
    if (!probe.is_open()) {
        return false;
    }
    const steady::time_point deadline = steady::now() + settings.reconnect_interval;
    bool is_greeted = false;
    while (running && !is_greeted && probe.is_open() && steady::now() < deadline) {
        is_greeted = probe.is_greeted_within(settings.poll_interval);
    }
    return !is_greeted;
}

bool UbusContext::reconnect() {
    if (is_broker_wedged()) {
        return false;
    }
    // By now the daemon has handlers of its own for the other two, which the library leaves alone.
    // Putting those back could undo what the main thread does to them meanwhile.
    const SignalDispositions kept{SIGCHLD};
    if (ubus_reconnect(context, path_or_default(settings.socket_path)) == UBUS_STATUS_OK) {
        adopt_descriptor();
        return true;
    }
    // The library may leave the number of a descriptor here that it has closed, and would close it
    // again: by then it may be that of a file or of a transfer.
    context->sock.fd = no_descriptor;
    return false;
}

}  // namespace zephran::ubus
