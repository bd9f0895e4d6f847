#include "request.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>

#include <poll.h>

#include "dispatch.h"
#include "frame.h"
#include "state.h"

namespace zephran::ubus_standin {

namespace {

using Clock = std::chrono::steady_clock;
using Deadline = std::optional<Clock::time_point>;

constexpr int longest_step = 60000;

int milliseconds_until(const Deadline& deadline) {
    if (!deadline) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, longest_step));
}

/// Lasts through signals. False when the time has run out.
bool wait_readable(int descriptor, const Deadline& deadline) {
    for (;;) {
        const int left = milliseconds_until(deadline);
        pollfd entry{descriptor, POLLIN, 0};
        if (poll(&entry, 1, left) > 0) {
            return true;
        }
        if (left == 0) {
            return false;
        }
    }
}

int wait_for_status(ubus_context& context, const ubus_request& request, const Deadline& deadline) {
    while (!request.status_msg) {
        if (context.sock.eof) {
            return UBUS_STATUS_CONNECTION_FAILED;
        }
        if (!wait_readable(context.sock.fd, deadline)) {
            return UBUS_STATUS_TIMEOUT;
        }
        receive_and_dispatch(context);
    }
    return request.status_code;
}

}  // namespace

int run_request(ubus_context& context, ubus_request& request, ubus_msg_type type,
                const blob_attr& body, int timeout) {
    if (blob_pad_len(&body) > UBUS_MAX_MSGLEN) {
        return UBUS_STATUS_INVALID_ARGUMENT;
    }
    Deadline deadline;
    if (timeout > 0) {
        deadline = Clock::now() + std::chrono::milliseconds{timeout};
    }
    request.ctx = &context;
    request.seq = ++context.request_seq;
    State& state = state_of(context);
    state.requests.push_back(&request);
    ++context.stack_depth;
    send_frame(context, type, request.seq, request.peer, body);
    const int status = wait_for_status(context, request, deadline);
    --context.stack_depth;
    state.requests.pop_back();
    context.cancel_poll = true;
    if (context.stack_depth == 0) {
        dispatch_waiting_calls(context);
    }
    return status;
}

}  // namespace zephran::ubus_standin
