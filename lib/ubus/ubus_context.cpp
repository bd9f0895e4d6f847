// SPDX-License-Identifier: Apache-2.0
#include "ubus/ubus_context.h"

#include <cerrno>

#include <boost/exception/errinfo_errno.hpp>

#include "common/logprint.h"
#include "ubus/broker_probe.h"
#include "ubus/exceptions.h"
#include "ubus/watchdog.h"

namespace zephran::ubus {

UbusContext::UbusContext() : UbusContext{Environment{}} {}

UbusContext::UbusContext(const Environment& environment)
    : poll_interval{environment.poll_interval},
      reconnect_interval{environment.reconnect_interval},
      stop_grace_period{environment.stop_grace_period},
      start_patience{environment.start_patience},
      connection{environment.socket_path} {}

UbusContext::~UbusContext() {
    disconnect();
}

void UbusContext::connect(const std::function<void()>& introduce) {
    try {
        connect_within_patience(introduce);
    } catch (...) {
        connection.close();
        throw;
    }
    ++connection_count_;
    state = ConnectionState::connected;
}

void UbusContext::connect_within_patience(const std::function<void()>& introduce) {
    const Watchdog watchdog{start_patience, [this] { connection.shut_down(); }};
    try {
        connection.open();
        // There may have been nothing yet that the watchdog could have shut down.
        if (!watchdog.has_expired()) {
            introduce();
            return;
        }
    } catch (const UbusConnectException&) {
        if (!watchdog.has_expired()) {
            throw;
        }
    }
    ZEPHRAN_THROW(UbusConnectException{} << boost::errinfo_errno{ETIMEDOUT});
}

void UbusContext::disconnect() {
    stop_receiver();
    connection.close();
    state = ConnectionState::disconnected;
}

void UbusContext::start_receiver() {
    stop_receiver();
    receiver.start([this] { receiver_thread(); });
}

void UbusContext::stop_receiver() {
    receiver.stop(stop_grace_period, [this] { connection.shut_down(); });
}

void UbusContext::receiver_thread() {
    // What arrived while somebody waited for an answer of the broker may have been put aside by the
    // library, and then the socket does not show it.
    bool may_have_put_aside = true;
    while (receiver.is_wanted()) {
        const BrokerConnection::Input input = connection.wait_for_input(poll_interval);
        if (has_connection()) {
            // The library would ask the system for input each time, which costs more than all the
            // rest of an idle daemon.
            if (may_have_put_aside || input != BrokerConnection::Input::none) {
                poll_events();
                may_have_put_aside = false;
            }
            if (input == BrokerConnection::Input::connection_is_broken || connection.has_ended()) {
                lose_connection();
            }
        }
        if (state == ConnectionState::connected && send_waiting) {
            send_waiting();
        }
        if (is_attempt_due()) {
            try_to_recover();
            may_have_put_aside = true;
        }
    }
}

void UbusContext::poll_events() {
    uloop_fd& socket = connection.get()->sock;
    socket.cb(&socket, ULOOP_READ);
}

bool UbusContext::has_connection() const {
    return state == ConnectionState::connected || state == ConnectionState::restoring;
}

bool UbusContext::is_attempt_due() const {
    const bool is_recovering =
        state == ConnectionState::lost || state == ConnectionState::restoring;
    return is_recovering && steady::now() >= next_attempt;
}

void UbusContext::lose_connection() {
    if (state == ConnectionState::connected) {
        ZLOG_WARNING("event", "ubus", "message", "connection lost");
    }
    state = ConnectionState::lost;
    connection.give_up();
    next_attempt = steady::now() + reconnect_interval;
}

void UbusContext::try_to_recover() {
    if (state == ConnectionState::lost && reconnect()) {
        state = ConnectionState::restoring;
    }
    // A connection that was made after the receiver was stopped stays for the next one. Whoever has
    // stopped it may not have seen it, so nothing may wait for the broker on it.
    if (!receiver.is_wanted()) {
        return;
    }
    if (state == ConnectionState::restoring && (!restore || restore())) {
        state = ConnectionState::connected;
        ZLOG_INFO("event", "ubus", "message", "connection restored");
    } else {
        next_attempt = steady::now() + reconnect_interval;
    }
}

bool UbusContext::reconnect() {
    if (is_broker_wedged() || !connection.reopen()) {
        return false;
    }
    ++connection_count_;
    return true;
}

// A broker that is not found at the noted address is not wedged: it may listen under another path
// now, and the library fails at once if it does not.
bool UbusContext::is_broker_wedged() const {
    BrokerProbe probe{connection.broker_address()};
    if (!probe.is_open()) {
        return probe.has_found_full_queue();
    }
    const steady::time_point deadline = steady::now() + reconnect_interval;
    bool is_greeted = false;
    while (receiver.is_wanted() && !is_greeted && probe.is_open() && steady::now() < deadline) {
        is_greeted = probe.is_greeted_within(poll_interval);
    }
    return !is_greeted;
}

}  // namespace zephran::ubus
