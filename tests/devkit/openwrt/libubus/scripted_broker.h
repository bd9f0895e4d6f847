// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <future>
#include <memory>
#include <string>

#include "support/temporary_directory.h"

extern "C" {
#include <libubus.h>
}

namespace zephran::ubus_standin {

using Context = std::unique_ptr<ubus_context, decltype(&ubus_free)>;

/// The limit of a request: bytes of its enclosing attribute.
constexpr std::size_t longest_message = 1048576;

/// The greeting of a recorded connection.
constexpr const char* hello = "00000000 65f45aca 00000004";

/// The other end of a connection. It knows nothing of the bus: bytes go both ways as hexadecimal
/// digits. Answers may be sent ahead of the requests they are for.
class ScriptedBroker {
public:
    ScriptedBroker();
    ScriptedBroker(const ScriptedBroker&) = delete;
    ScriptedBroker& operator=(const ScriptedBroker&) = delete;
    ~ScriptedBroker();

    [[nodiscard]] const std::string& path() const { return socket_path; }

    /// Takes the next client in the background and sends it these bytes.
    [[nodiscard]] std::future<void> welcome(const std::string& digits = hello);
    /// A client that has been welcomed.
    [[nodiscard]] Context connected_client(const std::string& digits = hello);

    /// Whether somebody waits for a welcome.
    [[nodiscard]] bool is_called() const;
    void send(const std::string& digits);
    /// That many bytes, or those before the end of the connection or of ten seconds.
    [[nodiscard]] std::string receive(std::size_t length);
    /// Whether the client has sent nothing more.
    [[nodiscard]] bool is_silent();
    /// Whether the client has closed the connection.
    [[nodiscard]] bool sees_end();

    void hang_up();
    void stop_listening();

private:
    TemporaryDirectory directory;
    std::string socket_path;
    int listener = -1;
    int connection = -1;
};

/// Has the context read and dispatch.
inline void dispatch(const Context& context) {
    context->sock.cb(&context->sock, ULOOP_READ);
}

}  // namespace zephran::ubus_standin
