// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <future>
#include <string>

#include <gtest/gtest.h>

#include "demo_object.h"
#include "libubox/bytes.h"
#include "scripted_broker.h"

namespace zephran::ubus_standin {

namespace {

/// A client that answers every call with one reply for each of the texts.
struct Reply : testing::Test {
    Reply() {
        broker.send(demo_added);
        ubus_add_object(context.get(), &object);
        static_cast<void>(broker.receive(demo_request_size));
        object.reaction = [this](ubus_context& running, ubus_request_data& request) {
            for (const auto& text : texts) {
                ubox_standin::Buffer buffer;
                blobmsg_add_json_from_string(buffer.get(), text.c_str());
                result = ubus_send_reply(&running, &request, buffer.head());
            }
            return 0;
        };
    }

    ScriptedBroker broker;
    Context context = broker.connected_client();
    DemoObject object;
    std::vector<std::string> texts;
    int result = -1;
};

}  // namespace

TEST_F(Reply, HasTheRecordedBytes) {
    texts = {R"({"ok":true,"s":"abc","n":7,"a":[1,"x"],"z":null})"};
    broker.send(demo_call);

    dispatch(context);

    EXPECT_EQ(result, UBUS_STATUS_OK);
    EXPECT_EQ(broker.receive(104),
              "00020002 59a0a9b1 00000060 03000008 7bb8faf7 07000054 8700000d 00026f6b 00000000 "
              "01000000 8300000c 00017300 61626300 8500000c 00016e00 00000007 81000020 00016100 "
              "8500000c 00000000 00000001 8300000a 00000000 78000000 80000008 00017a00");
    EXPECT_EQ(broker.receive(status_size), demo_status);
}

TEST_F(Reply, MayBeOneOfSeveral) {
    texts = {"{\"n\":7}", "{}"};
    broker.send(demo_call);

    dispatch(context);

    EXPECT_EQ(broker.receive(36),
              "00020002 59a0a9b1 0000001c 03000008 7bb8faf7 07000010 8500000c 00016e00 00000007");
    EXPECT_EQ(broker.receive(24), "00020002 59a0a9b1 00000010 03000008 7bb8faf7 07000004");
    EXPECT_EQ(broker.receive(status_size), demo_status);
}

TEST_F(Reply, IsEmptyWhenItsTextIsNoObject) {
    texts = {"[1]"};
    broker.send(demo_call);

    dispatch(context);

    EXPECT_EQ(broker.receive(24), "00020002 59a0a9b1 00000010 03000008 7bb8faf7 07000004");
}

TEST_F(Reply, BlocksWhileTheSocketIsFull) {
    const std::size_t length = 900000;
    texts = {R"({"s":")" + std::string(length, 'x') + R"("})"};
    broker.send(demo_call);
    // Header, words, id and name around the text, its NUL and its padding.
    const std::size_t size = 8 + 4 + 8 + 4 + (8 + length + 1 + 3) / 4 * 4;
    auto reply = std::async(std::launch::async, [&] { return broker.receive(size); });

    dispatch(context);

    EXPECT_EQ(result, UBUS_STATUS_OK);
    EXPECT_EQ(reply.get().substr(0, 80),
              "00020002 59a0a9b1 000dbbbc 03000008 7bb8faf7 070dbbb0 830dbba9 00017300 78787878");
    EXPECT_EQ(broker.receive(status_size), demo_status);
}

TEST_F(Reply, IsNotHeldAgainstTheLimitOfRequests) {
    const std::size_t length = longest_message + 100;
    texts = {R"({"s":")" + std::string(length, 'x') + R"("})"};
    broker.send(demo_call);
    auto received = std::async(std::launch::async, [&] { return broker.receive(length).size(); });

    dispatch(context);

    EXPECT_GT(received.get(), 2 * length);
    EXPECT_EQ(result, UBUS_STATUS_OK);
}

TEST_F(Reply, FailsOnABrokenConnectionAndMarksIt) {
    texts = {"{}"};
    broker.send(demo_call);
    broker.hang_up();

    dispatch(context);

    EXPECT_EQ(object.calls.size(), 1U);
    EXPECT_EQ(result, UBUS_STATUS_NO_DATA);
    EXPECT_TRUE(context->sock.eof);
}

TEST_F(Reply, EndsAProcessThatGaveSigpipeItsDefaultBack) {
    texts = {"{}"};
    broker.send(demo_call);
    broker.hang_up();

    EXPECT_EXIT(
        {
            (void)std::signal(SIGPIPE, SIG_DFL);
            dispatch(context);
        },
        testing::KilledBySignal(SIGPIPE), "");
}

}  // namespace zephran::ubus_standin
