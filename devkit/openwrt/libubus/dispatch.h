// SPDX-License-Identifier: Apache-2.0
#pragma once

extern "C" {
#include <libubus.h>
}

namespace zephran::ubus_standin {

/// Deals with one message, if there is one. At the end of the connection the hook is called.
/// Returns whether there was a message.
bool receive_and_dispatch(ubus_context& context);

/// Serves the calls that were put off.
void dispatch_waiting_calls(ubus_context& context);

/// The callback of a context's socket. No exception leaves a handler: the process ends instead.
void handle_socket(uloop_fd* socket, unsigned events) noexcept;

}  // namespace zephran::ubus_standin
