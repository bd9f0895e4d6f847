// SPDX-License-Identifier: Apache-2.0
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
struct ubus_object;
struct ubus_request_data;

/// Serves one call; the result is sent as its status. msg holds the arguments.
typedef int (*ubus_handler_t)(struct ubus_context* ctx, struct ubus_object* obj,
                              struct ubus_request_data* req, const char* method,
                              struct blob_attr* msg);
typedef void (*ubus_state_handler_t)(struct ubus_context* ctx, struct ubus_object* obj);

/// The policy is published, calls are not held against it.
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

/// Belongs to the caller and stays where it is until the connection is freed.
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

/// NULL, with errno, on failure. Waits for the broker's greeting without limit.
struct ubus_context* ubus_connect(const char* path);
void ubus_free(struct ubus_context* ctx);
/// Makes a new connection for the context and adds its objects again: 0 or a status code.
int ubus_reconnect(struct ubus_context* ctx, const char* path);
const char* ubus_strerror(int error);

/// Adds an object with a name and a type: 0 or a status code. Waits for the answer without limit.
int ubus_add_object(struct ubus_context* ctx, struct ubus_object* obj);
/// Notifies the subscribers and waits for nothing; only a timeout below 0 is supported here.
int ubus_notify(struct ubus_context* ctx, struct ubus_object* obj, const char* type,
                struct blob_attr* msg, int timeout);
int ubus_send_reply(struct ubus_context* ctx, struct ubus_request_data* req, struct blob_attr* msg);

#ifdef __cplusplus
}
#endif
