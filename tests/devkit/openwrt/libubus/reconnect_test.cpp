// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include "demo_object.h"
#include "scripted_broker.h"

namespace zephran::ubus_standin {

namespace {

/// The same object under another id. Requests are counted on through all connections of a context.
constexpr const char* demo_added_again =
    "00020002 00000000 00000014 03000008 11111111 05000008 22222222"
    "00010002 00000000 0000000c 01000008 00000000";

std::string request_again() {
    std::string request = demo_request;
    request.replace(0, 8, "00060002");
    return request;
}

/// A client with the recorded object, whose broker has gone.
struct Reconnect : testing::Test {
    Reconnect() {
        broker.send(demo_added);
        ubus_add_object(context.get(), &object);
        broker.hang_up();
        dispatch(context);
    }

    int reconnect(const std::string& greeting) {
        auto welcomed = broker.welcome(greeting);
        const int result = ubus_reconnect(context.get(), broker.path().c_str());
        welcomed.get();
        return result;
    }

    ScriptedBroker broker;
    Context context = broker.connected_client();
    DemoObject object;
};

}  // namespace

TEST_F(Reconnect, AddsTheObjectsUnderNewIds) {
    const int result = reconnect(hello + std::string{demo_added_again});

    EXPECT_EQ(result, UBUS_STATUS_OK);
    EXPECT_FALSE(context->sock.eof);
    EXPECT_EQ(object.id, 0x11111111U);
    EXPECT_EQ(object.type->id, 0x22222222U);
    EXPECT_EQ(broker.receive(demo_request_size), request_again());
}

TEST_F(Reconnect, ServesCallsOfTheNewId) {
    reconnect(hello + std::string{demo_added_again});
    static_cast<void>(broker.receive(demo_request_size));
    broker.send("00050009 59a0a9b1 0000001c 03000008 11111111 04000009 706f6c6c 00000000 07000004");

    dispatch(context);

    EXPECT_EQ(broker.receive(status_size),
              "00010009 59a0a9b1 00000014 01000008 00000000 03000008 11111111");
    EXPECT_EQ(object.calls.size(), 1U);
}

TEST_F(Reconnect, DoesNotHappenByItself) {
    dispatch(context);

    EXPECT_TRUE(context->sock.eof);
    EXPECT_FALSE(broker.is_called());
}

TEST_F(Reconnect, WithoutABrokerLeavesNoDescriptorAndNoMark) {
    broker.stop_listening();

    const int result = ubus_reconnect(context.get(), broker.path().c_str());

    EXPECT_NE(result, UBUS_STATUS_OK);
    EXPECT_EQ(context->sock.fd, -1);
    EXPECT_FALSE(context->sock.eof);
    dispatch(context);
    EXPECT_TRUE(context->sock.eof);
}

TEST_F(Reconnect, WithoutAGreetingLeavesTheNumberOfAClosedDescriptor) {
    for (const auto* const greeting : {"00000000", "00000000 00000000 00000004"}) {
        const int result = reconnect(greeting);

        EXPECT_NE(result, UBUS_STATUS_OK);
        EXPECT_FALSE(context->sock.eof);
        ASSERT_GE(context->sock.fd, 0);
        EXPECT_EQ(fcntl(context->sock.fd, F_GETFD), -1);
    }
}

TEST_F(Reconnect, ClosesWhateverHasTheNumberThatStayedBehind) {
    reconnect("00000000");
    const int number = context->sock.fd;
    const int victim = dup2(0, number);
    ASSERT_EQ(victim, number);
    broker.stop_listening();

    ubus_reconnect(context.get(), broker.path().c_str());

    EXPECT_EQ(fcntl(number, F_GETFD), -1);
}

TEST_F(Reconnect, SwallowsThatAnObjectWasRefusedAndForgetsIt) {
    const int result =
        reconnect(hello + std::string{"00010002 00000000 0000000c 01000008 00000002"});

    EXPECT_EQ(result, UBUS_STATUS_OK);
    EXPECT_EQ(object.id, 0U);
    EXPECT_EQ(broker.receive(demo_request_size), request_again());
    EXPECT_EQ(reconnect(hello), UBUS_STATUS_OK);
    EXPECT_TRUE(broker.is_silent());
}

TEST_F(Reconnect, SucceedsAfterItFailed) {
    reconnect("00000000");
    context->sock.fd = -1;

    const int result = reconnect(hello + std::string{demo_added_again});

    EXPECT_EQ(result, UBUS_STATUS_OK);
    EXPECT_EQ(object.id, 0x11111111U);
}

TEST(ReconnectOfALiveConnection, ClosesTheOldSocket) {
    ScriptedBroker old_broker;
    ScriptedBroker new_broker;
    const Context context = old_broker.connected_client();
    auto welcomed = new_broker.welcome();

    EXPECT_EQ(ubus_reconnect(context.get(), new_broker.path().c_str()), UBUS_STATUS_OK);
    welcomed.get();

    EXPECT_TRUE(old_broker.sees_end());
}

}  // namespace zephran::ubus_standin
