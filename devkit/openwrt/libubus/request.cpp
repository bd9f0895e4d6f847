// SPDX-License-Identifier: Apache-2.0
#include "request.h"

#include <poll.h>

#include "dispatch.h"
#include "frame.h"
#include "state.h"

namespace zephran::ubus_standin {

namespace {

/// Lasts through signals.
void wait_readable(int descriptor) {
    constexpr int no_limit = -1;
    pollfd entry{descriptor, POLLIN, 0};
    while (poll(&entry, 1, no_limit) <= 0) {
    }
}

int wait_for_status(ubus_context& context, const Request& request) {
    while (!request.is_answered) {
        if (context.sock.eof) {
            return UBUS_STATUS_CONNECTION_FAILED;
        }
        wait_readable(context.sock.fd);
        receive_and_dispatch(context);
    }
    return request.status;
}

}  // namespace

int register_object(ubus_context& context, ubus_object& object, const blob_attr& body) {
    if (blob_pad_len(&body) > longest_message) {
        return UBUS_STATUS_INVALID_ARGUMENT;
    }
    Request request{object, ++context.request_seq, false, UBUS_STATUS_OK};
    State& state = state_of(context);
    state.request = &request;
    ++context.stack_depth;
    const bool is_sent = send_frame(context, UBUS_MSG_ADD_OBJECT, request.seq, 0, body);
    const int status = is_sent ? wait_for_status(context, request) : UBUS_STATUS_INVALID_ARGUMENT;
    --context.stack_depth;
    state.request = nullptr;
    context.cancel_poll = true;
    dispatch_waiting_calls(context);
    return status;
}

}  // namespace zephran::ubus_standin
