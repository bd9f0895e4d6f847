#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "demo_object.h"
#include "libubox/bytes.h"
#include "scripted_broker.h"

namespace zephran::ubus_standin {

namespace {

using Texts = std::vector<std::string>;

void note_object(ubus_context* /*context*/, ubus_object_data* object, void* priv) {
    const std::unique_ptr<char, decltype(&std::free)> signature{
        blobmsg_format_json(object->signature, true), &std::free};
    static_cast<Texts*>(priv)->push_back(std::string{object->path} + " " +
                                         std::to_string(object->id) + " " +
                                         std::to_string(object->type_id) + " " + signature.get());
}

void note_reply(ubus_request* request, int /*type*/, blob_attr* message) {
    const std::unique_ptr<char, decltype(&std::free)> text{blobmsg_format_json(message, true),
                                                           &std::free};
    static_cast<Texts*>(request->priv)->emplace_back(text.get());
}

struct Request : testing::Test {
    ScriptedBroker broker;
    Context context = broker.connected_client();
    Texts noted;
};

}  // namespace

TEST_F(Request, LookupReportsTheRecordedObject) {
    broker.send(
        "00020001 00000000 00000050 02000009 64656d6f 00000000 03000008 7bb8faf7 05000008 d673c7c7"
        "06000030 82000020 0004706f 6c6c0000 85000014 00086167 656e745f 69640000 00000003 8200000c"
        "00046661 696c0000 00010001 00000000 0000000c 01000008 00000000");

    const int result = ubus_lookup(context.get(), "demo", note_object, &noted);

    EXPECT_EQ(result, UBUS_STATUS_OK);
    EXPECT_EQ(broker.receive(24), "00040001 00000000 00000010 02000009 64656d6f 00000000");
    EXPECT_EQ(noted, (Texts{R"(demo 2075720439 3597912007 {"poll":{"agent_id":3},"fail":{}})"}));
}

TEST_F(Request, LookupOfEverythingNamesNoPath) {
    broker.send("00010001 00000000 0000000c 01000008 00000000");

    EXPECT_EQ(ubus_lookup(context.get(), nullptr, note_object, &noted), UBUS_STATUS_OK);

    EXPECT_EQ(broker.receive(12), "00040001 00000000 00000004");
    EXPECT_TRUE(noted.empty());
}

TEST_F(Request, LookupOfAnUnknownNameIsNotFound) {
    broker.send("00010001 00000000 0000000c 01000008 00000004");
    std::uint32_t id = 0;

    EXPECT_EQ(ubus_lookup_id(context.get(), "nobody", &id), UBUS_STATUS_NOT_FOUND);
    EXPECT_EQ(id, 0U);
}

TEST_F(Request, LookupFindsAnId) {
    broker.send(
        "00020001 00000000 00000020 02000009 64656d6f 00000000 03000008 7bb8faf7 05000008 d673c7c7"
        "00010001 00000000 0000000c 01000008 00000000");
    std::uint32_t id = 0;

    EXPECT_EQ(ubus_lookup_id(context.get(), "demo", &id), UBUS_STATUS_OK);
    EXPECT_EQ(id, 0x7bb8faf7U);
}

TEST_F(Request, CallHasTheRecordedBytesAndGetsEveryReply) {
    ubox_standin::Buffer arguments;
    blobmsg_add_string(arguments.get(), "agent_id", "gw");
    context->request_seq = 1;
    broker.send(
        "00020002 7bb8faf7 0000001c 03000008 7bb8faf7 07000010 8500000c 00016e00 00000007"
        "00020002 7bb8faf7 00000010 03000008 7bb8faf7 07000004"
        "00010002 7bb8faf7 00000014 01000008 00000000 03000008 7bb8faf7");

    const int result =
        ubus_invoke(context.get(), 0x7bb8faf7, "poll", arguments.head(), note_reply, &noted, 0);

    EXPECT_EQ(result, UBUS_STATUS_OK);
    EXPECT_EQ(broker.receive(56),
              "00050002 7bb8faf7 00000030 03000008 7bb8faf7 04000009 706f6c6c 00000000 "
              "07000018 83000013 00086167 656e745f 69640000 67770000");
    EXPECT_EQ(noted, (Texts{R"({"n":7})", "{}"}));
}

TEST_F(Request, CallWithoutArgumentsCarriesEmptyData) {
    broker.send("00010001 7bb8faf7 00000014 01000008 00000003 03000008 7bb8faf7");

    EXPECT_EQ(ubus_invoke(context.get(), 0x7bb8faf7, "none", nullptr, nullptr, nullptr, 0),
              UBUS_STATUS_METHOD_NOT_FOUND);

    EXPECT_EQ(broker.receive(36),
              "00050001 7bb8faf7 0000001c 03000008 7bb8faf7 04000009 6e6f6e65 00000000 07000004");
}

TEST_F(Request, CallHandsNegativeStatusesOn) {
    broker.send("00010001 7bb8faf7 00000014 01000008 ffffffff 03000008 7bb8faf7");

    EXPECT_EQ(ubus_invoke(context.get(), 0x7bb8faf7, "none", nullptr, nullptr, nullptr, 0), -1);
}

TEST_F(Request, CallRunsOutOfTimeAndItsAnswerComesToNobody) {
    const int result =
        ubus_invoke(context.get(), 0x7bb8faf7, "slow", nullptr, note_reply, &noted, 1);
    broker.send("00020001 7bb8faf7 00000010 03000008 7bb8faf7 07000004");
    dispatch(context);

    EXPECT_EQ(result, UBUS_STATUS_TIMEOUT);
    EXPECT_TRUE(noted.empty());
    EXPECT_FALSE(context->sock.eof);
}

TEST_F(Request, CallReportsAConnectionThatBreaks) {
    broker.hang_up();

    EXPECT_EQ(ubus_invoke(context.get(), 0x7bb8faf7, "poll", nullptr, nullptr, nullptr, 0),
              UBUS_STATUS_CONNECTION_FAILED);
    EXPECT_TRUE(context->sock.eof);
}

TEST_F(Request, IsNotStartedAboveOneMebibyte) {
    ubox_standin::Buffer arguments;
    blobmsg_add_string(arguments.get(), "s", std::string(UBUS_MAX_MSGLEN, 'x').c_str());

    EXPECT_EQ(ubus_invoke(context.get(), 0x7bb8faf7, "poll", arguments.head(), nullptr, nullptr, 0),
              UBUS_STATUS_INVALID_ARGUMENT);
    EXPECT_TRUE(broker.is_silent());
}

TEST_F(Request, IsNumberedFromOne) {
    broker.send("00010001 00000000 0000000c 01000008 00000000");
    broker.send("00010002 00000000 0000000c 01000008 00000000");

    ubus_lookup(context.get(), nullptr, nullptr, nullptr);
    ubus_lookup(context.get(), nullptr, nullptr, nullptr);

    EXPECT_EQ(broker.receive(24), "00040001 00000000 00000004 00040002 00000000 00000004");
}

TEST(Contexts, ShareOneBufferThatEachOfThemFrees) {
    ScriptedBroker first_broker;
    ScriptedBroker second_broker;
    Context first = first_broker.connected_client();
    const Context second = second_broker.connected_client();
    first_broker.send("00010001 00000000 0000000c 01000008 00000000");
    second_broker.send("00010001 00000000 0000000c 01000008 00000000");

    EXPECT_EQ(ubus_lookup(first.get(), "first", nullptr, nullptr), UBUS_STATUS_OK);
    first.reset();
    EXPECT_EQ(ubus_lookup(second.get(), nullptr, nullptr, nullptr), UBUS_STATUS_OK);

    EXPECT_EQ(second_broker.receive(12), "00040001 00000000 00000004");
}

}  // namespace zephran::ubus_standin
