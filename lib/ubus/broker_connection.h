// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <string>

#include <sys/un.h>

#include "ubus/libraries.h"

namespace zephran::ubus {

/// The bus library's connection to the broker.
///
/// It is used by one thread at a time; only shut_down() may be called by another one meanwhile.
class BrokerConnection {
public:
    /// @param path of the broker's socket; empty for the one that the bus library was built with
    explicit BrokerConnection(std::string path);
    BrokerConnection(const BrokerConnection&) = delete;
    BrokerConnection& operator=(const BrokerConnection&) = delete;
    ~BrokerConnection();

    /// Connects to the broker. Waits for one that stalls until a signal arrives.
    /// @throws UbusConnectException with the error number of connect(2), EINTR after a signal
    void open();
    /// Tries once to connect to a broker that went away; the new connection has no objects.
    /// @returns whether it is there again
    [[nodiscard]] bool reopen();
    /// Stops waiting for input on a broken connection; the library's context stays until reopen().
    void give_up() { descriptor = no_descriptor; }
    /// Closes the connection, if there is one.
    void close();

    /// The connection, null before open(), and after close() or a reopen() that failed.
    [[nodiscard]] ubus_context* get() const { return context; }
    /// Whether the broker has ended the connection.
    [[nodiscard]] bool has_ended() const { return context->sock.eof; }
    /// Where the broker was reached the first time.
    [[nodiscard]] const sockaddr_un& broker_address() const { return broker_address_; }

    /// What waiting for input has brought.
    enum class Input { none, some, connection_is_broken };

    /// Waits for input for at most this time; without a connection it only waits.
    [[nodiscard]] Input wait_for_input(std::chrono::milliseconds time) const;
    /// Whether a message of up to 32 KiB can be sent without waiting for the broker: the system
    /// says so only while most of the socket's buffer is free.
    [[nodiscard]] bool can_send_at_once() const;
    /// Unblocks a thread that waits for the broker. May be called by any thread.
    void shut_down() const;

private:
    static constexpr int no_descriptor = -1;

    [[nodiscard]] const char* path_or_default() const;
    void adopt_descriptor();
    void note_broker_address();

    std::string socket_path;
    ubus_context* context = nullptr;
    sockaddr_un broker_address_{};
    /// The socket while the connection works, for whoever waits on it or shuts it down.
    std::atomic<int> descriptor{no_descriptor};
};

}  // namespace zephran::ubus
