// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include "ubus/broker_connection.h"
#include "ubus/libraries.h"
#include "ubus/stoppable_thread.h"

namespace zephran::ubus {

/// A connection to the message bus and the thread that serves it.
///
/// The bus library keeps state that all connections share: a process drives one connection only,
/// and everything on it happens on one thread at a time. Before start_receiver() that is the
/// caller's, afterwards the receiver's.
class UbusContext {
public:
    /// Other values than these are for unit tests.
    struct Environment {
        /// Path of the broker's socket; empty for the one that the bus library was built with.
        std::string socket_path;
        /// Longest sleep of the receiver, and so usually the longest it takes to stop it.
        std::chrono::milliseconds poll_interval{100};
        /// Time between two attempts to reach a broker that went away.
        std::chrono::milliseconds reconnect_interval{1000};
        /// A receiver that has not stopped after this time is blocked in the bus library, which is
        /// waiting for a stalled broker; its connection is then shut down.
        std::chrono::milliseconds stop_grace_period{2000};
        /// Longest wait for the broker at the first connection.
        std::chrono::milliseconds start_patience{10'000};
    };

    /// No connection yet.
    UbusContext();
    explicit UbusContext(const Environment& environment);
    UbusContext(const UbusContext&) = delete;
    UbusContext& operator=(const UbusContext&) = delete;
    virtual ~UbusContext();

    /// Connects to the broker, and introduces this process to it. Both together take no longer than
    /// the start patience: then the connection is shut down, and the error number is ETIMEDOUT.
    ///
    /// @param introduce what has to be said on the new connection; when it throws, there is none
    /// @throws UbusConnectException with the error number of connect(2)
    /// @throws what `introduce` throws
    void connect(const std::function<void()>& introduce = [] {});
    /// Stops the receiver and closes the connection.
    void disconnect();
    /// The connection, null until connect() and while the broker is gone.
    [[nodiscard]] ubus_context* get() const { return connection.get(); }

    /// How many connections there have been; each begins without objects.
    [[nodiscard]] unsigned connection_count() const { return connection_count_; }

    /// Sets a function that restores what the broker knew about this process. The receiver thread
    /// calls it after a lost connection was re-established, and about once a second until it
    /// returns true.
    void set_restorer(std::function<bool()> new_restorer) { restore = std::move(new_restorer); }

    /// Sets a function that sends what other threads have left to be sent. The receiver thread
    /// calls it whenever it wakes and everything about this process is known to the broker. To be
    /// set before the receiver is started.
    void set_sender(std::function<void()> new_sender) { send_waiting = std::move(new_sender); }
    /// Whether a message of up to 32 KiB can be sent without waiting for the broker.
    [[nodiscard]] bool can_send_at_once() const { return connection.can_send_at_once(); }

    /// Starts the receiver thread; one that runs already is stopped first.
    void start_receiver();
    /// Stops the receiver thread, if there is one, and waits for its end.
    void stop_receiver();
    /// The receiver thread: serves the connection and, after the broker has gone away, tries to
    /// reconnect, until it is stopped.
    void receiver_thread();
    /// Lets the bus library read and dispatch what has arrived.
    void poll_events();

private:
    using steady = std::chrono::steady_clock;

    /// connect() leads from disconnected to connected, and disconnect() from any state back. The
    /// receiver thread makes all other changes: from connected or restoring to lost, from lost to
    /// restoring, from restoring to connected.
    enum class ConnectionState {
        disconnected,
        connected,
        /// The broker has gone away.
        lost,
        /// Connected again, but the broker does not know everything about this process yet.
        restoring
    };

    void connect_within_patience(const std::function<void()>& introduce);
    [[nodiscard]] bool has_connection() const;
    [[nodiscard]] bool is_attempt_due() const;
    void lose_connection();
    void try_to_recover();
    [[nodiscard]] bool reconnect();
    [[nodiscard]] bool is_broker_wedged() const;

    // Constant, and so for every thread.
    const std::chrono::milliseconds poll_interval;
    const std::chrono::milliseconds reconnect_interval;
    const std::chrono::milliseconds stop_grace_period;
    const std::chrono::milliseconds start_patience;

    // Owned by the receiver thread while there is one, otherwise by the thread that starts and
    // stops it. Only BrokerConnection::shut_down() is called while the receiver runs.
    BrokerConnection connection;
    ConnectionState state = ConnectionState::disconnected;
    /// In the states lost and restoring: when to try again.
    steady::time_point next_attempt;
    std::function<bool()> restore;
    std::function<void()> send_waiting;
    unsigned connection_count_ = 0;

    // Owned by the thread that starts and stops the receiver, which itself only calls is_wanted().
    StoppableThread receiver;
};

}  // namespace zephran::ubus
