// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

extern "C" {
#include <libubus.h>
}

namespace zephran::ubus_standin {

/// A registration that the broker is asked for.
struct Request {
    ubus_object& object;
    std::uint16_t seq;
    bool is_answered;
    int status;
};

/// Sends the request and waits for its status without limit. Calls that arrive meanwhile are served
/// before it returns. The status, or one of the library's own: "invalid argument" for a request
/// that is too long or cannot be sent, "connection failed" if the connection ends before the
/// answer.
int register_object(ubus_context& context, ubus_object& object, const blob_attr& body);

}  // namespace zephran::ubus_standin
