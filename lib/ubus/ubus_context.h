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
        /// Longest sleep of the receiver, and so the longest it takes to stop it.
        std::chrono::milliseconds poll_interval{100};
        /// Time between two attempts to reach a broker that went away.
        std::chrono::milliseconds reconnect_interval{1000};
        /// A receiver that has not stopped after this time is held up by the bus library, which
        /// waits for a broker that stands still; its connection is then shut down under it.
        std::chrono::milliseconds stop_grace_period{2000};
    };

    /// No connection yet.
    UbusContext();
    explicit UbusContext(const Environment& environment);
    UbusContext(const UbusContext&) = delete;
    UbusContext& operator=(const UbusContext&) = delete;
    virtual ~UbusContext();

    /// Connects to the broker. Waits without limit for one that accepts and says nothing.
    /// @throws UbusConnectException with the error number of connect(2)
    void connect();
    /// Stops the receiver and closes the connection.
    void disconnect();
    /// The connection, null until connect().
    [[nodiscard]] ubus_context* get() const { return connection.get(); }

    /// Called on the receiver thread after a lost connection was made anew, and about once a second
    /// until it returns true: everything that the broker knew of this process is there again.
    void set_restorer(std::function<bool()> new_restorer) { restore = std::move(new_restorer); }

    /// Starts the receiver thread; one that runs already is stopped first.
    void start_receiver();
    /// Ends the receiver thread, if there is one, and waits for that.
    void stop_receiver();
    /// What the receiver thread does until it is stopped: it serves the connection and, when the
    /// broker has gone away, tries to reach it again.
    void receiver_thread();
    /// Lets the bus library read and dispatch what has arrived.
    void poll_events();

private:
    using steady = std::chrono::steady_clock;

    /// connect() leads from disconnected to connected, disconnect() from everywhere back. Between
    /// the other states the receiver thread moves: connected, lost, restoring, connected; a
    /// connection can also be lost while it is being restored.
    enum class ConnectionState {
        disconnected,
        connected,
        /// The broker has gone away.
        lost,
        /// Connected again, but the broker does not know everything of this process yet.
        restoring
    };

    [[nodiscard]] bool has_connection() const;
    [[nodiscard]] bool is_attempt_due() const;
    void lose_connection();
    void try_to_recover();
    [[nodiscard]] bool reconnect();
    [[nodiscard]] bool is_broker_wedged() const;

    // Never changed.
    const std::chrono::milliseconds poll_interval;
    const std::chrono::milliseconds reconnect_interval;
    const std::chrono::milliseconds stop_grace_period;

    // The receiver thread's while there is one, otherwise the owner's. The exception is
    // BrokerConnection::shut_down(), by which the owner ends a wait of the receiver.
    BrokerConnection connection;
    ConnectionState state = ConnectionState::disconnected;
    /// When to try the next step towards connected, in the states lost and restoring.
    steady::time_point next_attempt;
    std::function<bool()> restore;

    // The owner's. The receiver thread only asks it whether it is still wanted.
    StoppableThread receiver;
};

}  // namespace zephran::ubus
