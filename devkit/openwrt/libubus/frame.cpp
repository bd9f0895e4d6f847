// SPDX-License-Identifier: Apache-2.0
#include "frame.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

namespace zephran::ubus_standin {

namespace {

constexpr std::size_t head_size = sizeof(ubus_msghdr) + sizeof(blob_attr);

enum class Arrival { complete, nothing, broken };

void wait_for(int descriptor, short events) {
    pollfd entry{descriptor, events, 0};
    poll(&entry, 1, -1);
}

bool is_passing(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

/// Sends with no flag against SIGPIPE: whoever gives that signal its default action back dies of
/// it, as on the device.
bool send_all(int descriptor, std::array<iovec, 2> parts) {
    while (parts[1].iov_len > 0) {
        msghdr message{};
        message.msg_iov = parts.data();
        message.msg_iovlen = parts.size();
        const ssize_t sent = sendmsg(descriptor, &message, 0);
        if (sent < 0 && !is_passing(errno)) {
            return false;
        }
        if (sent < 0) {
            wait_for(descriptor, POLLOUT);
            continue;
        }
        auto rest = static_cast<std::size_t>(sent);
        for (iovec& part : parts) {
            const std::size_t taken = rest < part.iov_len ? rest : part.iov_len;
            part.iov_base = static_cast<char*>(part.iov_base) + taken;
            part.iov_len -= taken;
            rest -= taken;
        }
    }
    return true;
}

/// Once the first byte has been read, or when begun says so, the rest is waited for.
Arrival receive_all(int descriptor, char* target, std::size_t length, bool begun) {
    std::size_t received = 0;
    while (received < length) {
        const ssize_t count = recv(descriptor, target + received, length - received, MSG_DONTWAIT);
        if (count > 0) {
            received += static_cast<std::size_t>(count);
        } else if (count == 0 || !is_passing(errno)) {
            return Arrival::broken;
        } else if (errno != EINTR) {
            if (received == 0 && !begun) {
                return Arrival::nothing;
            }
            wait_for(descriptor, POLLIN);
        }
    }
    return Arrival::complete;
}

/// Reads what follows the first bytes of a message. False when they make no sense, or it ends.
bool receive_rest(int descriptor, const std::array<char, head_size>& head, Frame& frame) {
    blob_attr enclosing{};
    std::memcpy(&enclosing, head.data() + sizeof(ubus_msghdr), sizeof(enclosing));
    const std::size_t length = blob_raw_len(&enclosing);
    if (length < sizeof(blob_attr) || blob_pad_len(&enclosing) > longest_message) {
        return false;
    }
    frame.bytes.resize(length);
    std::memcpy(frame.bytes.data(), &enclosing, sizeof(enclosing));
    return receive_all(descriptor, frame.bytes.data() + sizeof(enclosing),
                       length - sizeof(enclosing), true) == Arrival::complete;
}

}  // namespace

bool send_frame(ubus_context& context, ubus_msg_type type, std::uint16_t seq, std::uint32_t peer,
                const blob_attr& body) {
    ubus_msghdr header{0, static_cast<std::uint8_t>(type), cpu_to_be16(seq), cpu_to_be32(peer)};
    const std::array<iovec, 2> parts{
        {{&header, sizeof(header)}, {const_cast<blob_attr*>(&body), blob_raw_len(&body)}}};
    if (!send_all(context.sock.fd, parts)) {
        context.sock.eof = true;
        return false;
    }
    return true;
}

std::optional<Frame> receive_frame(ubus_context& context) {
    std::array<char, head_size> head{};
    switch (receive_all(context.sock.fd, head.data(), head.size(), false)) {
        case Arrival::nothing:
            return std::nullopt;
        case Arrival::broken:
            context.sock.eof = true;
            return std::nullopt;
        case Arrival::complete:
            break;
    }
    ubus_msghdr header{};
    std::memcpy(&header, head.data(), sizeof(header));
    Frame frame{header.type, be16_to_cpu(header.seq), be32_to_cpu(header.peer), {}};
    const bool is_whole = header.version == 0 && receive_rest(context.sock.fd, head, frame);
    return is_whole ? std::optional<Frame>{std::move(frame)} : std::nullopt;
}

}  // namespace zephran::ubus_standin
