#include "request.h"
#include "scratch.h"

namespace zephran::ubus_standin {

namespace {

struct Lookup {
    ubus_lookup_handler_t handler;
    void* priv;
};

void report_object(ubus_request* request, int /*type*/, blob_attr* message) {
    const auto& lookup = *static_cast<const Lookup*>(request->priv);
    const auto& attributes = attributes_of(*message);
    if (attributes[UBUS_ATTR_OBJID] == nullptr || attributes[UBUS_ATTR_OBJPATH] == nullptr ||
        attributes[UBUS_ATTR_OBJTYPE] == nullptr) {
        return;
    }
    ubus_object_data object{
        blob_get_u32(attributes[UBUS_ATTR_OBJID]), blob_get_u32(attributes[UBUS_ATTR_OBJTYPE]),
        blob_get_string(attributes[UBUS_ATTR_OBJPATH]), attributes[UBUS_ATTR_SIGNATURE]};
    if (lookup.handler != nullptr) {
        lookup.handler(request->ctx, &object, lookup.priv);
    }
}

void take_id(ubus_context* /*context*/, ubus_object_data* object, void* id) {
    *static_cast<std::uint32_t*>(id) = object->id;
}

}  // namespace

extern "C" {

int ubus_lookup(ubus_context* ctx, const char* path, ubus_lookup_handler_t cb, void* priv) {
    blob_buf& message = fresh_message();
    if (path != nullptr) {
        blob_put_string(&message, UBUS_ATTR_OBJPATH, path);
    }
    Lookup lookup{cb, priv};
    ubus_request request{};
    request.raw_data_cb = report_object;
    request.priv = &lookup;
    return run_request(*ctx, request, UBUS_MSG_LOOKUP, *message.head, 0);
}

int ubus_lookup_id(ubus_context* ctx, const char* path, uint32_t* id) {
    return ubus_lookup(ctx, path, take_id, id);
}

int ubus_invoke(ubus_context* ctx, uint32_t obj, const char* method, blob_attr* msg,
                ubus_data_handler_t cb, void* priv, int timeout) {
    blob_buf& message = fresh_message();
    blob_put_u32(&message, UBUS_ATTR_OBJID, obj);
    blob_put_string(&message, UBUS_ATTR_METHOD, method);
    if (blob_put(&message, UBUS_ATTR_DATA, msg == nullptr ? nullptr : blob_data(msg),
                 msg == nullptr ? 0 : static_cast<unsigned>(blob_len(msg))) == nullptr) {
        return UBUS_STATUS_NO_MEMORY;
    }
    ubus_request request{};
    request.peer = obj;
    request.data_cb = cb;
    request.priv = priv;
    return run_request(*ctx, request, UBUS_MSG_INVOKE, *message.head, timeout);
}

}  // extern "C"

}  // namespace zephran::ubus_standin
