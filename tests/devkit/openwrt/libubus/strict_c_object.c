#include "strict_c_object.h"

#include <libubus.h>

static int handle(struct ubus_context* ctx, struct ubus_object* obj, struct ubus_request_data* req,
                  const char* method, struct blob_attr* msg) {
    (void)obj;
    (void)method;
    return ubus_send_reply(ctx, req, msg);
}

static const struct blobmsg_policy echo_policy[] = {{"text", BLOBMSG_TYPE_STRING}};

static const struct ubus_method methods[] = {
    UBUS_METHOD("echo", handle, echo_policy),
    UBUS_METHOD_NOARG("stop", handle),
};

static struct ubus_object_type type = UBUS_OBJECT_TYPE("strict", methods);

static struct ubus_object object = {
    .name = "strict",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};

struct ubus_object* strict_c_object(void) {
    return &object;
}
