// SPDX-License-Identifier: Apache-2.0
#include <future>
#include <string>

#include <gtest/gtest.h>

#include "demo_object.h"
#include "scripted_broker.h"

namespace zephran::ubus_standin {

TEST(UbusAddObject, SendsTheRecordedBytesAndTakesTheIds) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    DemoObject object;
    broker.send(demo_added);

    const int result = ubus_add_object(context.get(), &object);

    EXPECT_EQ(result, UBUS_STATUS_OK);
    EXPECT_EQ(object.id, 0x7bb8faf7U);
    EXPECT_EQ(object.type->id, 0xd673c7c7U);
    EXPECT_EQ(broker.receive(demo_request_size), demo_request);
    EXPECT_TRUE(broker.is_silent());
}

TEST(UbusAddObject, ReportsThatANameIsTakenAndStaysUsable) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    DemoObject object;
    broker.send("00010001 00000000 0000000c 01000008 00000002");

    EXPECT_EQ(ubus_add_object(context.get(), &object), UBUS_STATUS_INVALID_ARGUMENT);

    EXPECT_EQ(object.id, 0U);
    broker.send(
        "00020002 00000000 00000014 03000008 7bb8faf7 05000008 d673c7c7"
        "00010002 00000000 0000000c 01000008 00000000");
    EXPECT_EQ(ubus_add_object(context.get(), &object), UBUS_STATUS_OK);
    EXPECT_EQ(object.id, 0x7bb8faf7U);
}

TEST(UbusAddObject, NamesATypeThatIsKnownInsteadOfItsSignature) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    DemoObject object;
    object.type->id = 0xd673c7c7;
    broker.send(
        "00020001 00000000 0000000c 03000008 00000400 00010001 00000000 0000000c 01000008 "
        "00000000");

    EXPECT_EQ(ubus_add_object(context.get(), &object), UBUS_STATUS_OK);

    EXPECT_EQ(broker.receive(32),
              "00060001 00000000 00000018 02000009 64656d6f 00000000 05000008 d673c7c7");
    EXPECT_EQ(object.id, 0x400U);
}

TEST(UbusAddObject, MissesTheIdInAnAnswer) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    DemoObject object;
    broker.send("00010001 00000000 0000000c 01000008 00000000");

    EXPECT_EQ(ubus_add_object(context.get(), &object), UBUS_STATUS_NO_DATA);
}

TEST(UbusAddObject, TakesABrokenConnectionForAnInvalidArgument) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    DemoObject object;
    broker.hang_up();

    EXPECT_EQ(ubus_add_object(context.get(), &object), UBUS_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(object.id, 0U);
    EXPECT_TRUE(context->sock.eof);
}

TEST(UbusAddObject, ReportsAConnectionThatEndsBeforeTheAnswer) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    DemoObject object;
    auto end = std::async(std::launch::async, [&broker] {
        static_cast<void>(broker.receive(demo_request_size));
        broker.hang_up();
    });

    EXPECT_EQ(ubus_add_object(context.get(), &object), UBUS_STATUS_CONNECTION_FAILED);
    end.get();
    EXPECT_TRUE(context->sock.eof);
}

TEST(UbusAddObject, HandsNegativeStatusesOn) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    DemoObject object;
    broker.send("00010001 00000000 0000000c 01000008 ffffffff");

    EXPECT_EQ(ubus_add_object(context.get(), &object), -1);
}

TEST(UbusAddObject, IsNotAskedForAboveOneMebibyte) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    DemoObject object;
    const std::string long_name(longest_message, 'x');
    object.name = long_name.c_str();

    EXPECT_EQ(ubus_add_object(context.get(), &object), UBUS_STATUS_INVALID_ARGUMENT);

    EXPECT_TRUE(broker.is_silent());
}

TEST(UbusAddObject, IsNumberedFromOne) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    DemoObject object;
    broker.send("00010001 00000000 0000000c 01000008 00000002");
    broker.send("00010002 00000000 0000000c 01000008 00000002");

    ubus_add_object(context.get(), &object);
    ubus_add_object(context.get(), &object);

    EXPECT_EQ(broker.receive(demo_request_size), demo_request);
    EXPECT_EQ(broker.receive(4), "00060002");
}

TEST(UbusAddObject, IsNotMisledByAnswersToSomethingElse) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    DemoObject object;
    broker.send("00010007 00000000 0000000c 01000008 00000002");
    broker.send("00010001 00000400 0000000c 01000008 00000002");
    broker.send(demo_added);

    EXPECT_EQ(ubus_add_object(context.get(), &object), UBUS_STATUS_OK);
}

TEST(Contexts, ShareOneBufferThatEachOfThemFrees) {
    ScriptedBroker first_broker;
    ScriptedBroker second_broker;
    Context first = first_broker.connected_client();
    const Context second = second_broker.connected_client();
    DemoObject first_object;
    DemoObject second_object;
    first_broker.send(demo_added);
    second_broker.send(demo_added);

    EXPECT_EQ(ubus_add_object(first.get(), &first_object), UBUS_STATUS_OK);
    first.reset();
    EXPECT_EQ(ubus_add_object(second.get(), &second_object), UBUS_STATUS_OK);

    EXPECT_EQ(second_broker.receive(demo_request_size), demo_request);
}

}  // namespace zephran::ubus_standin
