// SPDX-License-Identifier: Apache-2.0
#include <cstddef>

extern "C" {
#include <libubus.h>
}

// The layouts of the device, so that a program that peeks sees the same.
static_assert(sizeof(void*) != 8 || sizeof(ubus_context) == 344);
static_assert(sizeof(void*) != 8 || offsetof(ubus_context, sock) == 80);
static_assert(sizeof(void*) != 8 || offsetof(ubus_context, local_id) == 144);
static_assert(sizeof(void*) != 8 || offsetof(ubus_context, request_seq) == 148);
static_assert(sizeof(void*) != 8 || offsetof(ubus_context, cancel_poll) == 150);
static_assert(sizeof(void*) != 8 || offsetof(ubus_context, stack_depth) == 152);
static_assert(sizeof(void*) != 8 || offsetof(ubus_context, connection_lost) == 160);
static_assert(sizeof(void*) != 8 || (sizeof(uloop_fd) == 16 && offsetof(uloop_fd, eof) == 12));
static_assert(sizeof(void*) != 8 ||
              (sizeof(ubus_object) == 120 && offsetof(ubus_object, id) == 64));
static_assert(sizeof(void*) != 8 || offsetof(ubus_object, type) == 80);
static_assert(sizeof(void*) != 8 || offsetof(ubus_object, methods) == 104);
static_assert(sizeof(void*) != 8 || sizeof(ubus_object_type) == 32);
static_assert(sizeof(void*) != 8 || sizeof(ubus_method) == 48);
static_assert(sizeof(void*) != 8 || sizeof(blobmsg_policy) == 16);
static_assert(sizeof(void*) != 8 || sizeof(ubus_request_data) == 56);
static_assert(sizeof(void*) != 8 || offsetof(ubus_request_data, deferred) == 40);
static_assert(sizeof(void*) != 8 || sizeof(blob_buf) == 32);
static_assert(sizeof(blob_attr) == 4 && sizeof(ubus_msghdr) == 8);
