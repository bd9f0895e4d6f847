#include "strict_c_object.h"

#include <cstddef>

#include <gtest/gtest.h>

#include "scripted_broker.h"

namespace zephran::ubus_standin {

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

TEST(StrictCObject, IsMadeOfStaticRecords) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    broker.send(
        "00020001 00000000 00000014 03000008 00000400 05000008 00000401"
        "00010001 00000000 0000000c 01000008 00000000");

    EXPECT_EQ(ubus_add_object(context.get(), strict_c_object()), UBUS_STATUS_OK);

    EXPECT_EQ(broker.receive(68),
              "00060001 00000000 0000003c 0200000b 73747269 63740000 0600002c 8200001c 00046563 "
              "686f0000 85000010 00047465 78740000 00000003 8200000c 00047374 6f700000");

    broker.send(
        "00020002 00000000 00000014 03000008 00000400 05000008 00000401"
        "00010002 00000000 0000000c 01000008 00000000");
    EXPECT_EQ(ubus_remove_object(context.get(), strict_c_object()), UBUS_STATUS_OK);
    EXPECT_EQ(strict_c_object()->id, 0U);
}

}  // namespace zephran::ubus_standin
