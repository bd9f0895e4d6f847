#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <sys/un.h>

#include "ubus/libraries.h"

namespace zephran::ubus {

/// A connection to the message bus and the thread that serves it.
///
/// The bus library keeps state that all connections share: a process drives one connection only,
/// and everything on it happens on one thread at a time. Before start_receiver() that is the
/// caller's, afterwards the receiver's.
class UbusContext {
public:
    /// Other values than these are for unit tests.
    struct Settings {
        /// Path of the broker's socket; empty for the one that the bus library was built with.
        std::string socket_path;
        /// Longest sleep of the receiver, and so the longest it takes to stop it.
        std::chrono::milliseconds poll_interval{100};
        /// Time between two attempts to reach a broker that went away.
        std::chrono::milliseconds reconnect_interval{1000};
        /// A receiver that has not stopped after this time is held up by the bus library, which
        /// waits for a broker that stands still; its connection is then shut down under it.
        std::chrono::milliseconds stop_patience{2000};
    };

    /// No connection yet.
    UbusContext();
    explicit UbusContext(Settings chosen_settings);
    UbusContext(const UbusContext&) = delete;
    UbusContext& operator=(const UbusContext&) = delete;
    virtual ~UbusContext();

    /// Connects to the broker. Waits without limit for one that accepts and says nothing.
    /// @throws UbusConnectException with the error number of connect(2)
    void connect();
    /// Stops the receiver and closes the connection.
    void disconnect();
    /// The connection, null until connect().
    [[nodiscard]] ubus_context* get() const { return context; }

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

    [[nodiscard]] bool wait_for_input() const;
    void lose_connection();
    void try_to_recover();
    [[nodiscard]] bool reconnect();
    void note_broker_address();
    void adopt_descriptor();
    [[nodiscard]] bool is_broker_wedged() const;

    std::atomic<bool> running{false};
    std::unique_ptr<std::thread> receiver;
    std::future<void> receiver_end;
    /// The connection's socket while there is one, for the thread that stops the receiver.
    std::atomic<int> descriptor;
    ubus_context* context = nullptr;
    Settings settings;
    std::function<bool()> restore;
    bool connected = false;
    /// Where the broker was reached the first time.
    sockaddr_un broker_address{};
    /// Set while the broker is away, or does not know this process again yet.
    std::optional<steady::time_point> next_attempt;
};

}  // namespace zephran::ubus
