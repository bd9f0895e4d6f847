// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "demo_object.h"
#include "libubox/bytes.h"
#include "scripted_broker.h"

namespace zephran::ubus_standin {

namespace {

constexpr const char* subscribed = "000a0001 00000000 00000014 03000008 7bb8faf7 09000005 01000000";
constexpr const char* deserted = "000a0002 00000000 00000014 03000008 7bb8faf7 09000005 00000000";

struct Notify : testing::Test {
    Notify() {
        broker.send(demo_added);
        ubus_add_object(context.get(), &object);
        static_cast<void>(broker.receive(demo_request_size));
    }

    void receive(const std::string& digits) {
        broker.send(digits);
        dispatch(context);
    }

    ScriptedBroker broker;
    Context context = broker.connected_client();
    DemoObject object;
};

TEST_F(Notify, SendsTheRecordedBytesAndWaitsForNothing) {
    ubox_standin::Buffer buffer;
    blobmsg_add_json_from_string(buffer.get(), R"({"x":5})");

    EXPECT_EQ(ubus_notify(context.get(), &object, "state", buffer.head(), -1), UBUS_STATUS_OK);

    EXPECT_EQ(broker.receive(56),
              "000a0002 7bb8faf7 00000030 03000008 7bb8faf7 0400000a 73746174 65000000 07000010 "
              "8500000c 00017800 00000005 0a000005 01000000");
    EXPECT_TRUE(broker.is_silent());
}

TEST_F(Notify, HasDataEvenWithoutAny) {
    EXPECT_EQ(ubus_notify(context.get(), &object, "s", nullptr, -1), UBUS_STATUS_OK);

    EXPECT_EQ(broker.receive(40),
              "000a0002 7bb8faf7 00000020 03000008 7bb8faf7 04000006 73000000 07000004 0a000005 "
              "01000000");
}

TEST_F(Notify, KnowsWhetherAnybodyListens) {
    static std::vector<bool> told;
    told.clear();
    object.subscribe_cb = [](ubus_context* /*context*/, ubus_object* of) {
        told.push_back(of->has_subscribers);
    };
    EXPECT_FALSE(object.has_subscribers);

    receive(subscribed);
    EXPECT_TRUE(object.has_subscribers);
    receive(deserted);
    EXPECT_FALSE(object.has_subscribers);

    EXPECT_EQ(told, (std::vector<bool>{true, false}));
}

TEST_F(Notify, TellsNobodyThatTheConnectionHasEnded) {
    broker.hang_up();

    EXPECT_EQ(ubus_notify(context.get(), &object, "s", nullptr, -1), UBUS_STATUS_OK);

    EXPECT_TRUE(context->sock.eof);
}

}  // namespace

}  // namespace zephran::ubus_standin
