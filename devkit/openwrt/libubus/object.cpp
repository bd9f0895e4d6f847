// SPDX-License-Identifier: Apache-2.0
#include "object.h"

#include <cstdint>
#include <utility>

#include "frame.h"
#include "request.h"
#include "scratch.h"
#include "state.h"

namespace zephran::ubus_standin {

namespace {

void put_signature(blob_buf& message, const ubus_object_type& type) {
    void* const signature = blob_nest_start(&message, UBUS_ATTR_SIGNATURE);
    for (int i = 0; i < type.n_methods; ++i) {
        const ubus_method& method = type.methods[i];
        void* const arguments = blobmsg_open_table(&message, method.name);
        for (int j = 0; j < method.n_policy; ++j) {
            blobmsg_add_u32(&message, method.policy[j].name,
                            static_cast<std::uint32_t>(method.policy[j].type));
        }
        blobmsg_close_table(&message, arguments);
    }
    blob_nest_end(&message, signature);
}

}  // namespace

void add_objects_again(ubus_context& context) {
    const auto objects = std::exchange(state_of(context).objects, {});
    for (const auto& [id, object] : objects) {
        object->id = 0;
        object->type->id = 0;
    }
    for (const auto& [id, object] : objects) {
        ubus_add_object(&context, object);
    }
}

extern "C" {

int ubus_add_object(ubus_context* ctx, ubus_object* obj) {
    blob_buf& message = fresh_message();
    blob_put_string(&message, UBUS_ATTR_OBJPATH, obj->name);
    if (obj->type->id != 0) {
        blob_put_u32(&message, UBUS_ATTR_OBJTYPE, obj->type->id);
    } else {
        put_signature(message, *obj->type);
    }
    const int status = register_object(*ctx, *obj, *message.head);
    if (status == UBUS_STATUS_OK && obj->id == 0) {
        return UBUS_STATUS_NO_DATA;
    }
    return status;
}

int ubus_notify(ubus_context* ctx, ubus_object* obj, const char* type, blob_attr* msg,
                int timeout) {
    if (timeout >= 0) {
        return UBUS_STATUS_NOT_SUPPORTED;
    }
    blob_buf& message = fresh_message();
    blob_put_u32(&message, UBUS_ATTR_OBJID, obj->id);
    blob_put_string(&message, UBUS_ATTR_METHOD, type);
    blob_put(&message, UBUS_ATTR_DATA, msg == nullptr ? nullptr : blob_data(msg),
             msg == nullptr ? 0 : static_cast<unsigned>(blob_len(msg)));
    constexpr std::uint8_t yes = 1;
    blob_put(&message, UBUS_ATTR_NO_REPLY, &yes, sizeof(yes));
    if (blob_pad_len(message.head) > longest_message) {
        return UBUS_STATUS_INVALID_ARGUMENT;
    }
    // Nobody is told that it could not be sent, but for the mark on the socket.
    send_frame(*ctx, UBUS_MSG_NOTIFY, ++ctx->request_seq, obj->id, *message.head);
    return UBUS_STATUS_OK;
}

int ubus_send_reply(ubus_context* ctx, ubus_request_data* req, blob_attr* msg) {
    blob_buf& message = fresh_message();
    blob_put_u32(&message, UBUS_ATTR_OBJID, req->object);
    if (blob_put(&message, UBUS_ATTR_DATA, blob_data(msg), static_cast<unsigned>(blob_len(msg))) ==
        nullptr) {
        return UBUS_STATUS_NO_MEMORY;
    }
    return send_frame(*ctx, UBUS_MSG_DATA, req->seq, req->peer, *message.head)
               ? UBUS_STATUS_OK
               : UBUS_STATUS_NO_DATA;
}

}  // extern "C"

}  // namespace zephran::ubus_standin
