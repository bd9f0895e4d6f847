#pragma once

#include <atomic>
#include <chrono>
#include <string>

#include <sys/un.h>

#include "ubus/libraries.h"

namespace zephran::ubus {

/// The bus library's connection to the broker.
///
/// One thread at a time uses it; only shut_down() may be called on another one meanwhile.
class BrokerConnection {
public:
    /// @param path of the broker's socket; empty for the one that the bus library was built with
    explicit BrokerConnection(std::string path);
    BrokerConnection(const BrokerConnection&) = delete;
    BrokerConnection& operator=(const BrokerConnection&) = delete;
    ~BrokerConnection();

    /// Connects to the broker. Waits without limit for one that accepts and says nothing.
    /// @throws UbusConnectException with the error number of connect(2)
    void open();
    /// Tries once to connect to a broker that went away.
    /// @returns whether it is there again
    [[nodiscard]] bool reopen();
    /// Nothing more is expected from this connection; its records in the bus library stay.
    void give_up() { descriptor = no_descriptor; }
    /// Frees the connection, if there is one.
    void close();

    /// The connection, null before open() and after close().
    [[nodiscard]] ubus_context* get() const { return context; }
    /// Whether the broker has ended the connection.
    [[nodiscard]] bool has_ended() const { return context->sock.eof; }
    /// Where the broker was reached the first time.
    [[nodiscard]] const sockaddr_un& broker_address() const { return broker_address_; }

    /// Waits for input for at most this time; without a connection it only waits.
    /// @returns whether the connection is broken
    [[nodiscard]] bool wait_for_input(std::chrono::milliseconds time) const;
    /// Ends every wait for the broker. May be called on any thread.
    void shut_down() const;

private:
    static constexpr int no_descriptor = -1;

    [[nodiscard]] const char* path_or_default() const;
    void adopt_descriptor();
    void note_broker_address();

    std::string socket_path;
    ubus_context* context = nullptr;
    sockaddr_un broker_address_{};
    /// The connection's socket while it is of use.
    std::atomic<int> descriptor{no_descriptor};
};

}  // namespace zephran::ubus
