// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "demo_object.h"
#include "scripted_broker.h"

namespace zephran::ubus_standin {

namespace {

using Calls = std::vector<std::string>;

/// A client with the recorded object on it.
struct Dispatch : testing::Test {
    Dispatch() {
        broker.send(demo_added);
        ubus_add_object(context.get(), &object);
        static_cast<void>(broker.receive(demo_request_size));
    }

    /// What one message is answered with; always a status in these tests.
    std::string answer_to(const std::string& digits) {
        broker.send(digits);
        dispatch(context);
        return broker.receive(status_size);
    }

    ScriptedBroker broker;
    Context context = broker.connected_client();
    DemoObject object;
};

TEST_F(Dispatch, GivesTheHandlerARecordedCall) {
    ubus_request_data seen{};
    std::string user;
    object.reaction = [&](ubus_context&, ubus_request_data& request) {
        seen = request;
        user = std::string{request.acl.user} + ":" + request.acl.group + ":" + request.acl.object;
        return 0;
    };

    EXPECT_EQ(answer_to(demo_call), demo_status);

    EXPECT_EQ(object.calls, (Calls{R"(poll {"agent_id":"gw"})"}));
    EXPECT_EQ(seen.object, 0x7bb8faf7U);
    EXPECT_EQ(seen.peer, 0x59a0a9b1U);
    EXPECT_EQ(seen.seq, 2);
    EXPECT_EQ(user, "root:root:demo");
    EXPECT_TRUE(broker.is_silent());
}

TEST_F(Dispatch, AcceptsACallWithoutArguments) {
    const auto answer = answer_to(
        "00050002 59a0a9b1 0000001c 03000008 7bb8faf7 04000009 6661696c 00000000 07000004");

    EXPECT_EQ(answer, demo_status);
    EXPECT_EQ(object.calls, (Calls{"fail {}"}));
}

TEST_F(Dispatch, DoesNotHoldArgumentsAgainstThePolicy) {
    answer_to(
        "00050002 59a0a9b1 00000030 03000008 7bb8faf7 04000009 706f6c6c 00000000 "
        "07000018 85000014 00086167 656e745f 69640000 00000005");

    EXPECT_EQ(object.calls, (Calls{R"(poll {"agent_id":5})"}));
}

TEST_F(Dispatch, SendsWhateverTheHandlerReturns) {
    object.reaction = [](ubus_context&, ubus_request_data&) { return 8; };
    EXPECT_EQ(answer_to(demo_call),
              "00010002 59a0a9b1 00000014 01000008 00000008 03000008 7bb8faf7");
    object.reaction = [](ubus_context&, ubus_request_data&) { return -1; };
    EXPECT_EQ(answer_to(demo_call),
              "00010002 59a0a9b1 00000014 01000008 ffffffff 03000008 7bb8faf7");
}

TEST_F(Dispatch, AnswersForMethodsThatNobodyHas) {
    const auto answer = answer_to(
        "00050002 c30947a9 0000001c 03000008 7bb8faf7 04000009 706f6c78 00000000 07000004");

    EXPECT_EQ(answer, "00010002 c30947a9 00000014 01000008 00000003 03000008 7bb8faf7");
    EXPECT_TRUE(object.calls.empty());
}

TEST_F(Dispatch, RefusesACallWithoutData) {
    EXPECT_EQ(answer_to("00050002 59a0a9b1 00000018 03000008 7bb8faf7 04000009 706f6c6c 00000000"),
              "00010002 59a0a9b1 00000014 01000008 00000002 03000008 7bb8faf7");
    EXPECT_TRUE(object.calls.empty());
}

// The broker drops such an answer, so that the caller waits until its own time-out.
TEST_F(Dispatch, AnswersNobodyForACallWithoutMethodOrOfAnUnknownObject) {
    EXPECT_EQ(answer_to("00050002 59a0a9b1 00000010 03000008 7bb8faf7 07000004"),
              "00010000 00000000 00000014 01000008 00000002 03000008 00000000");
    EXPECT_EQ(answer_to("00050002 59a0a9b1 0000001c 03000008 00000400 04000009 706f6c6c 00000000 "
                        "07000004"),
              "00010000 00000000 00000014 01000008 00000004 03000008 00000000");
    EXPECT_TRUE(object.calls.empty());
}

TEST_F(Dispatch, IgnoresACallOfNoObject) {
    broker.send("00050002 59a0a9b1 00000014 04000009 706f6c6c 00000000 07000004");

    dispatch(context);

    EXPECT_TRUE(broker.is_silent());
    EXPECT_FALSE(context->sock.eof);
}

TEST_F(Dispatch, SendsNoStatusToThoseWhoWantNone) {
    broker.send(
        "00050002 59a0a9b1 00000024 03000008 7bb8faf7 04000009 706f6c6c 00000000 0a000005 "
        "01000000 07000004");

    dispatch(context);

    EXPECT_EQ(object.calls, (Calls{"poll {}"}));
    EXPECT_TRUE(broker.is_silent());
}

TEST_F(Dispatch, LeavesTheStatusToHandlersThatDeferIt) {
    object.reaction = [](ubus_context&, ubus_request_data& request) {
        request.deferred = true;
        return 0;
    };
    broker.send(demo_call);

    dispatch(context);

    EXPECT_EQ(object.calls.size(), 1U);
    EXPECT_TRUE(broker.is_silent());
}

TEST_F(Dispatch, DoesNothingWithoutData) {
    dispatch(context);

    EXPECT_FALSE(context->sock.eof);
    EXPECT_TRUE(broker.is_silent());
}

TEST_F(Dispatch, ReadsAStartedMessageToItsEnd) {
    const std::string call{demo_call};
    broker.send(call.substr(0, 44));
    auto rest = std::async(std::launch::async, [&] { broker.send(call.substr(44)); });

    dispatch(context);
    rest.get();

    EXPECT_EQ(object.calls.size(), 1U);
}

TEST_F(Dispatch, TakesOneMessageACallOnceARequestHasBeenMade) {
    broker.send(demo_call);
    broker.send(demo_call);

    dispatch(context);
    EXPECT_EQ(object.calls.size(), 1U);
    dispatch(context);
    EXPECT_EQ(object.calls.size(), 2U);
}

TEST(DispatchWithoutRequests, TakesAllMessagesThatAreThere) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    broker.send(demo_call);
    broker.send(demo_call);

    dispatch(context);

    EXPECT_EQ(broker.receive(2 * status_size),
              "00010000 00000000 00000014 01000008 00000004 03000008 00000000 "
              "00010000 00000000 00000014 01000008 00000004 03000008 00000000");
}

TEST_F(Dispatch, NoticesTheEndOfTheConnectionEveryTime) {
    static int lost = 0;
    lost = 0;
    context->connection_lost = [](ubus_context*) { ++lost; };
    broker.hang_up();

    dispatch(context);
    dispatch(context);

    EXPECT_TRUE(context->sock.eof);
    EXPECT_EQ(lost, 2);
}

TEST_F(Dispatch, PassesOverAHeadThatMakesNoSense) {
    for (const auto* const head : {"00050002 59a0a9b1 00000003", "00050002 59a0a9b1 00100001",
                                   "01050002 59a0a9b1 00000004"}) {
        broker.send(head);
        broker.send(demo_call);
        object.calls.clear();

        dispatch(context);
        EXPECT_TRUE(object.calls.empty()) << head;
        dispatch(context);

        EXPECT_EQ(object.calls.size(), 1U) << head;
        EXPECT_FALSE(context->sock.eof) << head;
    }
}

TEST_F(Dispatch, NoticesTheEndWithinAMessageOnlyAfterIt) {
    broker.send("00050002 59a0a9b1 0000001c 03000008");
    broker.hang_up();

    dispatch(context);
    EXPECT_FALSE(context->sock.eof);
    dispatch(context);

    EXPECT_TRUE(context->sock.eof);
}

TEST_F(Dispatch, PutsCallsOffWhileARequestIsWaitedFor) {
    DemoObject other;
    std::uint32_t id_during_call = 0;
    object.reaction = [&](ubus_context&, ubus_request_data&) {
        id_during_call = other.id;
        return 0;
    };
    broker.send(demo_call);
    broker.send(
        "00020002 00000000 00000014 03000008 00000400 05000008 00000401"
        "00010002 00000000 0000000c 01000008 00000000");

    EXPECT_EQ(ubus_add_object(context.get(), &other), UBUS_STATUS_OK);

    EXPECT_EQ(object.calls.size(), 1U);
    EXPECT_EQ(id_during_call, 0x400U);
    static_cast<void>(broker.receive(demo_request_size));
    EXPECT_EQ(broker.receive(status_size), demo_status);
}

}  // namespace
}  // namespace zephran::ubus_standin
