#include <string>

#include <gtest/gtest.h>

#include "scripted_broker.h"

extern "C" {
#include <libubox/blobmsg_json.h>
}

namespace zephran::ubus_standin {

namespace {

/// An event handler that notes what it gets.
struct Listener : ubus_event_handler {
    Listener() : ubus_event_handler{} { cb = note; }

    static void note(ubus_context* /*context*/, ubus_event_handler* handler, const char* type,
                     blob_attr* message) {
        const std::unique_ptr<char, decltype(&std::free)> text{blobmsg_format_json(message, true),
                                                               &std::free};
        static_cast<Listener*>(handler)->heard += std::string{type} + " " + text.get();
    }

    std::string heard;
};

constexpr const char* listener_added =
    "00020001 00000000 0000000c 03000008 00000400 00010001 00000000 0000000c 01000008 00000000";

}  // namespace

TEST(UbusEvents, AreAskedForWithAnAnonymousObject) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    Listener listener;
    broker.send(listener_added);
    broker.send("00010002 00000001 00000014 01000008 00000000 03000008 00000001");

    const int result = ubus_register_event_handler(context.get(), &listener, "ubus.object.add");

    EXPECT_EQ(result, UBUS_STATUS_OK);
    EXPECT_EQ(broker.receive(12), "00060001 00000000 00000004");
    EXPECT_EQ(broker.receive(92),
              "00050002 00000001 00000054 03000008 00000001 0400000d 72656769 73746572 00000000 "
              "07000038 85000014 00066f62 6a656374 00000000 00000400 "
              "83000020 00077061 74746572 6e000000 75627573 2e6f626a 6563742e 61646400");
}

TEST(UbusEvents, ComeAsCallsOfThatObject) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    Listener listener;
    broker.send(listener_added);
    broker.send("00010002 00000001 00000014 01000008 00000000 03000008 00000001");
    ubus_register_event_handler(context.get(), &listener, "*");
    broker.send(
        "00050009 00000000 00000028 03000008 00000400 04000009 6e616d65 00000000 "
        "07000010 8500000c 00016e00 00000007");

    dispatch(context);

    EXPECT_EQ(listener.heard, R"(name {"n":7})");
}

TEST(UbusEvents, ReportThatTheObjectWasRefused) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    Listener listener;
    broker.send("00010001 00000000 0000000c 01000008 00000002");

    EXPECT_EQ(ubus_register_event_handler(context.get(), &listener, "*"),
              UBUS_STATUS_INVALID_ARGUMENT);
}

}  // namespace zephran::ubus_standin
