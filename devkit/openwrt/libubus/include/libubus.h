#pragma once

/// Client of the message bus. All of it works on state that is shared by the whole process: one
/// thread at a time. The headers included here have no C-linkage guards of their own, so C++
/// includes this one inside an extern "C" block as well.

#include <libubox/blobmsg.h>
#include <libubox/uloop.h>
#include <libubox/utils.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <ubusmsg.h>

#ifdef __cplusplus
extern "C" {
#endif

struct ubus_context;
struct ubus_event_handler;
struct ubus_object;
struct ubus_object_data;
struct ubus_request;
struct ubus_request_data;
struct ubus_subscriber;

/// Serves one call; the result is sent as its status. msg holds the arguments.
typedef int (*ubus_handler_t)(struct ubus_context* ctx, struct ubus_object* obj,
                              struct ubus_request_data* req, const char* method,
                              struct blob_attr* msg);
typedef void (*ubus_state_handler_t)(struct ubus_context* ctx, struct ubus_object* obj);
typedef void (*ubus_lookup_handler_t)(struct ubus_context* ctx, struct ubus_object_data* obj,
                                      void* priv);
typedef void (*ubus_event_handler_t)(struct ubus_context* ctx, struct ubus_event_handler* ev,
                                     const char* type, struct blob_attr* msg);
/// Gets one reply of a call; type is UBUS_MSG_DATA.
typedef void (*ubus_data_handler_t)(struct ubus_request* req, int type, struct blob_attr* msg);

#define UBUS_OBJECT_TYPE(_name, _methods) \
    { .name = _name, .id = 0, .methods = _methods, .n_methods = ARRAY_SIZE(_methods) }

#define UBUS_METHOD_NOARG(_name, _handler) \
    { .name = _name, .handler = _handler }

#define UBUS_METHOD(_name, _handler, _policy) \
    { .name = _name, .handler = _handler, .policy = _policy, .n_policy = ARRAY_SIZE(_policy) }

/// A name of NULL stands for every method. The policy is published, calls are not held against it.
struct ubus_method {
    const char* name;
    ubus_handler_t handler;
    unsigned long mask;
    unsigned long tags;
    const struct blobmsg_policy* policy;
    int n_policy;
};

struct ubus_object_type {
    const char* name;
    uint32_t id;
    const struct ubus_method* methods;
    int n_methods;
};

struct ubus_tree_node {
    void* reserved[7];
};

/// Belongs to the caller and stays where it is until it is removed or the connection is freed.
struct ubus_object {
    struct ubus_tree_node avl;
    const char* name;
    uint32_t id;
    const char* path;
    struct ubus_object_type* type;
    ubus_state_handler_t subscribe_cb;
    bool has_subscribers;
    const struct ubus_method* methods;
    int n_methods;
};

struct ubus_event_handler {
    struct ubus_object obj;
    ubus_event_handler_t cb;
};

struct ubus_context {
    void* state;
    void* reserved_head[9];
    struct uloop_fd sock;
    void* reserved_timer[6];
    uint32_t local_id;
    uint16_t request_seq;
    bool cancel_poll;
    int stack_depth;
    void (*connection_lost)(struct ubus_context* ctx);
    void* reserved_tail[22];
};

struct ubus_object_data {
    uint32_t id;
    uint32_t type_id;
    const char* path;
    struct blob_attr* signature;
};

struct ubus_acl_key {
    const char* user;
    const char* group;
    const char* object;
};

/// One call being served.
struct ubus_request_data {
    uint32_t object;
    uint32_t peer;
    uint16_t seq;
    struct ubus_acl_key acl;
    bool deferred;
    int fd;
    int req_fd;
};

/// One request being waited for.
struct ubus_request {
    int status_code;
    bool status_msg;
    uint32_t peer;
    uint16_t seq;
    ubus_data_handler_t raw_data_cb;
    ubus_data_handler_t data_cb;
    struct ubus_context* ctx;
    void* priv;
};

/// NULL, with errno, on failure. Waits for the broker's greeting without limit.
struct ubus_context* ubus_connect(const char* path);
void ubus_free(struct ubus_context* ctx);
/// Makes a new connection for the context and adds its objects again: 0 or a status code.
int ubus_reconnect(struct ubus_context* ctx, const char* path);
const char* ubus_strerror(int error);

int ubus_add_object(struct ubus_context* ctx, struct ubus_object* obj);
int ubus_remove_object(struct ubus_context* ctx, struct ubus_object* obj);
int ubus_send_reply(struct ubus_context* ctx, struct ubus_request_data* req, struct blob_attr* msg);

/// Calls cb for each object of that path; a prefix and `*`, or NULL, stand for several.
int ubus_lookup(struct ubus_context* ctx, const char* path, ubus_lookup_handler_t cb, void* priv);
int ubus_lookup_id(struct ubus_context* ctx, const char* path, uint32_t* id);
/// Calls a method and waits, without limit when timeout (milliseconds) is 0.
int ubus_invoke(struct ubus_context* ctx, uint32_t obj, const char* method, struct blob_attr* msg,
                ubus_data_handler_t cb, void* priv, int timeout);

/// Has ev->cb called for events of that name, or with a `*` at its end, of that prefix.
int ubus_register_event_handler(struct ubus_context* ctx, struct ubus_event_handler* ev,
                                const char* pattern);

/// Reads and dispatches what has arrived.
static inline void ubus_handle_event(struct ubus_context* ctx) {
    ctx->sock.cb(&ctx->sock, ULOOP_READ);
}

#ifdef __cplusplus
}
#endif
