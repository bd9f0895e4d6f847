// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "dispatch.h"
#include "object.h"
#include "scratch.h"
#include "state.h"

namespace zephran::ubus_standin {

namespace {

constexpr const char* default_path = "/var/run/ubus/ubus.sock";

/// The descriptor, or -1 with errno.
int open_socket(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof(address.sun_path)) {
        errno = EINVAL;
        return -1;
    }
    std::memcpy(&address.sun_path[0], path, std::strlen(path));
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return -1;
    }
    if (connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        const int error = errno;
        close(descriptor);
        errno = error;
        return -1;
    }
    return descriptor;
}

/// One read and no more, however little it brings: a greeting in pieces is refused.
bool read_once(int descriptor, void* target, std::size_t length) {
    const ssize_t count = read(descriptor, target, length);
    if (count >= 0 && static_cast<std::size_t>(count) != length) {
        errno = EPROTO;
    }
    return count >= 0 && static_cast<std::size_t>(count) == length;
}

bool read_hello(ubus_context& context) {
    std::array<char, sizeof(ubus_msghdr) + sizeof(blob_attr)> hello{};
    if (!read_once(context.sock.fd, hello.data(), hello.size())) {
        return false;
    }
    ubus_msghdr header{};
    blob_attr body{};
    std::memcpy(&header, hello.data(), sizeof(header));
    std::memcpy(&body, hello.data() + sizeof(header), sizeof(body));
    const std::size_t length = blob_raw_len(&body);
    // The id stays in network order, and so do the two values that are no ids.
    if (header.version != 0 || header.type != UBUS_MSG_HELLO || header.peer <= 1 ||
        length < sizeof(blob_attr)) {
        errno = EPROTO;
        return false;
    }
    std::vector<char> payload(length - sizeof(blob_attr));
    if (!payload.empty() && !read_once(context.sock.fd, payload.data(), payload.size())) {
        return false;
    }
    context.local_id = header.peer;
    return true;
}

int connect_to_broker(ubus_context& context, const char* path) {
    if (context.sock.fd >= 0) {
        close(context.sock.fd);
    }
    context.sock.eof = false;
    context.sock.error = false;
    context.cancel_poll = false;
    state_of(context).waiting_calls.clear();
    context.sock.fd = open_socket(path == nullptr ? default_path : path);
    if (context.sock.fd < 0) {
        return UBUS_STATUS_CONNECTION_FAILED;
    }
    if (!read_hello(context)) {
        // The number of the closed descriptor stays behind, as on the device, where the next
        // attempt closes whatever has got that number by then.
        const int error = errno;
        close(context.sock.fd);
        errno = error;
        return UBUS_STATUS_UNKNOWN_ERROR;
    }
    fcntl(context.sock.fd, F_SETFL, fcntl(context.sock.fd, F_GETFL) | O_NONBLOCK);
    return UBUS_STATUS_OK;
}

/// Somebody with an event loop would end it here.
void ignore_lost_connection(ubus_context* /*context*/) {}

}  // namespace

extern "C" {

ubus_context* ubus_connect(const char* path) {
    if (uloop_init() != 0) {
        return nullptr;
    }
    std::unique_ptr<State> state{new (std::nothrow) State};
    std::unique_ptr<ubus_context> context{new (std::nothrow) ubus_context{}};
    if (state == nullptr || context == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    context->state = state.get();
    context->sock.cb = handle_socket;
    context->sock.fd = -1;
    context->connection_lost = ignore_lost_connection;
    if (connect_to_broker(*context, path) != UBUS_STATUS_OK) {
        return nullptr;
    }
    static_cast<void>(state.release());
    return context.release();
}

void ubus_free(ubus_context* ctx) {
    const std::unique_ptr<ubus_context> context{ctx};
    if (context == nullptr) {
        return;
    }
    const std::unique_ptr<State> state{&state_of(*context)};
    close(context->sock.fd);
    free_message_buffer();
}

int ubus_reconnect(ubus_context* ctx, const char* path) {
    if (uloop_init() != 0) {
        return UBUS_STATUS_SYSTEM_ERROR;
    }
    const int status = connect_to_broker(*ctx, path);
    if (status == UBUS_STATUS_OK) {
        add_objects_again(*ctx);
    }
    return status;
}

}  // extern "C"

}  // namespace zephran::ubus_standin
