extern "C" {
#include <libubus.h>
}

namespace zephran::ubus_standin {

namespace {

int deliver_event(ubus_context* context, ubus_object* object, ubus_request_data* /*request*/,
                  const char* method, blob_attr* message) {
    // The object is the first member of its event handler.
    auto* const handler = reinterpret_cast<ubus_event_handler*>(object);
    handler->cb(context, handler, method, message);
    return UBUS_STATUS_OK;
}

/// Without a name it takes every event, whose name comes as that of a method.
const ubus_method event_method{nullptr, deliver_event, 0, 0, nullptr, 0};

}  // namespace

extern "C" int ubus_register_event_handler(ubus_context* ctx, ubus_event_handler* ev,
                                           const char* pattern) {
    if (ev->obj.id == 0) {
        ev->obj.methods = &event_method;
        ev->obj.n_methods = 1;
        const int status = ubus_add_object(ctx, &ev->obj);
        if (status != UBUS_STATUS_OK) {
            return status;
        }
    }
    blob_buf message{};
    blob_buf_init(&message, 0);
    blobmsg_add_u32(&message, "object", ev->obj.id);
    if (pattern != nullptr) {
        blobmsg_add_string(&message, "pattern", pattern);
    }
    const int status =
        ubus_invoke(ctx, UBUS_SYSTEM_OBJECT_EVENT, "register", message.head, nullptr, nullptr, 0);
    blob_buf_free(&message);
    return status;
}

}  // namespace zephran::ubus_standin
