// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

extern "C" {
#include <libubus.h>
}

namespace zephran::ubus_standin {

/// The most bytes of an enclosing attribute with its padding. The device keeps this number to
/// itself.
constexpr std::size_t longest_message = 1048576;

/// A message that has arrived.
struct Frame {
    std::uint8_t type = 0;
    std::uint16_t seq = 0;
    std::uint32_t peer = 0;
    /// The attribute that encloses the others; whole.
    std::vector<char> bytes;

    [[nodiscard]] blob_attr* body() { return reinterpret_cast<blob_attr*>(bytes.data()); }
};

/// Blocks while the socket is full. On a broken connection it returns false and sets sock.eof.
bool send_frame(ubus_context& context, ubus_msg_type type, std::uint16_t seq, std::uint32_t peer,
                const blob_attr& body);

/// The next message; one that has begun to arrive is waited for. Nothing when none is there, or,
/// with sock.eof set, when the connection has ended before it. Nothing, too, for a head of another
/// version or with an impossible length: what follows is taken for the next message.
std::optional<Frame> receive_frame(ubus_context& context);

}  // namespace zephran::ubus_standin
