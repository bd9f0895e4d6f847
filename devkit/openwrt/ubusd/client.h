#pragma once

#include <optional>

#include "broker.h"
#include "frame.h"
#include "output_queue.h"
#include "unique_fd.h"

namespace zephran::ubusd {

/// One connection.
class Client {
public:
    /// Greets the client; the greeting must leave in one piece, and a new socket has room for it.
    /// @throws std::system_error when the kernel does not say who it is.
    Client(UniqueFd connection, ClientId id);

    [[nodiscard]] const Sender& sender() const { return identity; }
    [[nodiscard]] int descriptor() const { return socket.get(); }
    [[nodiscard]] bool wants_to_write() const { return !output.empty(); }
    /// The connection is over, from whichever end.
    [[nodiscard]] bool gone() const { return finished; }

    /// Never waits; a client too far behind is disconnected.
    void send(const Frame& frame);
    void flush();

    /// Reads a limited amount, so that no client keeps the others waiting.
    void receive();

    /// @return the next complete frame; nothing once the connection is over, which a frame outside
    /// the limits also leads to.
    std::optional<Frame> next_frame();

private:
    void disconnect(const char* reason);

    UniqueFd socket;
    Sender identity;
    FrameAssembler input;
    OutputQueue output;
    bool finished = false;
};

}  // namespace zephran::ubusd
