#pragma once

#include <cstdint>

extern "C" {
#include <libubus.h>
}

namespace zephran::ubus_standin {

/// Sends a request and waits for its status, without limit when timeout (milliseconds) is 0. Calls
/// that arrive meanwhile are served before it returns. The status, or one of the library's own for
/// a request that is too long, a connection that is broken, and a time that has run out.
int run_request(ubus_context& context, ubus_request& request, ubus_msg_type type,
                const blob_attr& body, int timeout);

}  // namespace zephran::ubus_standin
