// SPDX-License-Identifier: Apache-2.0
#include "dispatch.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include "frame.h"
#include "scratch.h"
#include "state.h"

namespace zephran::ubus_standin {

namespace {

Request* request_of(const State& state, const Frame& frame) {
    const bool is_answer =
        state.request != nullptr && state.request->seq == frame.seq && frame.peer == 0;
    return is_answer ? state.request : nullptr;
}

void take_status(Request& request, Frame& frame) {
    const blob_attr* const status = attributes_of(*frame.body())[UBUS_ATTR_STATUS];
    request.status = status == nullptr ? static_cast<int>(UBUS_STATUS_INVALID_ARGUMENT)
                                       : static_cast<int>(blob_get_u32(status));
    request.is_answered = true;
}

void take_ids(State& state, ubus_object& object, Frame& frame) {
    const auto& attributes = attributes_of(*frame.body());
    if (attributes[UBUS_ATTR_OBJID] == nullptr) {
        return;
    }
    object.id = blob_get_u32(attributes[UBUS_ATTR_OBJID]);
    if (attributes[UBUS_ATTR_OBJTYPE] != nullptr) {
        object.type->id = blob_get_u32(attributes[UBUS_ATTR_OBJTYPE]);
    }
    state.objects[object.id] = &object;
}

const ubus_method* method_of(const ubus_object& object, const char* name) {
    for (int i = 0; i < object.n_methods; ++i) {
        const ubus_method& method = object.methods[i];
        if (std::strcmp(method.name, name) == 0) {
            return &method;
        }
    }
    return nullptr;
}

const char* text_of(const blob_attr* attr) {
    return attr == nullptr ? nullptr : blob_get_string(attr);
}

std::uint32_t object_of(Frame& frame) {
    return blob_get_u32(attributes_of(*frame.body())[UBUS_ATTR_OBJID]);
}

/// A call that is refused before its sequence and object have been taken is answered under none,
/// so that the broker drops the answer.
int call_handler(ubus_context& context, ubus_request_data& request, Frame& frame) {
    const State& state = state_of(context);
    const auto found = state.objects.find(object_of(frame));
    if (found == state.objects.end()) {
        return UBUS_STATUS_NOT_FOUND;
    }
    ubus_object& object = *found->second;
    // The table does not outlive what the handler does; what it points at does.
    const auto attributes = attributes_of(*frame.body());
    const char* const name = text_of(attributes[UBUS_ATTR_METHOD]);
    if (name == nullptr) {
        return UBUS_STATUS_INVALID_ARGUMENT;
    }
    request.object = object.id;
    request.peer = frame.peer;
    request.seq = frame.seq;
    const ubus_method* const method = method_of(object, name);
    if (method == nullptr) {
        return UBUS_STATUS_METHOD_NOT_FOUND;
    }
    if (attributes[UBUS_ATTR_DATA] == nullptr) {
        return UBUS_STATUS_INVALID_ARGUMENT;
    }
    const blob_attr* const no_reply = attributes[UBUS_ATTR_NO_REPLY];
    request.acl = {text_of(attributes[UBUS_ATTR_USER]), text_of(attributes[UBUS_ATTR_GROUP]),
                   object.name};
    const int status =
        method->handler(&context, &object, &request, name, attributes[UBUS_ATTR_DATA]);
    // Refusals are sent all the same.
    request.deferred = request.deferred || (no_reply != nullptr && blob_get_u8(no_reply) != 0);
    return status;
}

void serve_call(ubus_context& context, Frame& frame) {
    const auto& attributes = attributes_of(*frame.body());
    if (attributes[UBUS_ATTR_OBJID] == nullptr) {
        return;
    }
    ubus_request_data request{};
    request.fd = -1;
    request.req_fd = -1;

    const int status = call_handler(context, request, frame);
    if (!request.deferred) {
        blob_buf& message = fresh_message();
        blob_put_u32(&message, UBUS_ATTR_STATUS, static_cast<std::uint32_t>(status));
        blob_put_u32(&message, UBUS_ATTR_OBJID, request.object);
        send_frame(context, UBUS_MSG_STATUS, request.seq, request.peer, *message.head);
    }
}

void note_subscribers(ubus_context& context, Frame& frame) {
    const auto& attributes = attributes_of(*frame.body());
    if (attributes[UBUS_ATTR_OBJID] == nullptr || attributes[UBUS_ATTR_ACTIVE] == nullptr) {
        return;
    }
    const State& state = state_of(context);
    const auto found = state.objects.find(blob_get_u32(attributes[UBUS_ATTR_OBJID]));
    if (found == state.objects.end()) {
        return;
    }
    ubus_object& object = *found->second;
    object.has_subscribers = blob_get_u8(attributes[UBUS_ATTR_ACTIVE]) != 0;
    if (object.subscribe_cb != nullptr) {
        object.subscribe_cb(&context, &object);
    }
}

void dispatch(ubus_context& context, Frame frame) {
    State& state = state_of(context);
    switch (frame.type) {
        case UBUS_MSG_STATUS:
        case UBUS_MSG_DATA:
            if (Request* const request = request_of(state, frame); request != nullptr) {
                frame.type == UBUS_MSG_STATUS ? take_status(*request, frame)
                                              : take_ids(state, request->object, frame);
            }
            break;
        case UBUS_MSG_INVOKE:
            if (context.stack_depth > 0) {
                state.waiting_calls.push_back(std::move(frame));
            } else {
                serve_call(context, frame);
            }
            break;
        case UBUS_MSG_NOTIFY:
            note_subscribers(context, frame);
            break;
        default:
            break;
    }
}

}  // namespace

bool receive_and_dispatch(ubus_context& context) {
    auto frame = receive_frame(context);
    if (frame) {
        dispatch(context, std::move(*frame));
    } else if (context.sock.eof) {
        context.connection_lost(&context);
    }
    return frame.has_value();
}

void dispatch_waiting_calls(ubus_context& context) {
    auto& calls = state_of(context).waiting_calls;
    while (!calls.empty()) {
        Frame call = std::move(calls.front());
        calls.pop_front();
        serve_call(context, call);
    }
}

void handle_socket(uloop_fd* socket, unsigned /*events*/) noexcept {
    auto& context = *reinterpret_cast<ubus_context*>(reinterpret_cast<char*>(socket) -
                                                     offsetof(ubus_context, sock));
    while (receive_and_dispatch(context) && !context.cancel_poll) {
    }
}

}  // namespace zephran::ubus_standin
