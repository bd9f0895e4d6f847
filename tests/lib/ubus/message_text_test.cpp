// SPDX-License-Identifier: Apache-2.0
#include "ubus/message_text.h"

#include <string>

#include <gtest/gtest.h>

#include "ubus/blob_buffer.h"
#include "ubus/exceptions.h"

namespace zephran::ubox {

namespace {

/// A message of nested tables, as a client other than the ubus command may send it.
BlobBuffer nested(unsigned depth) {
    BlobBuffer buffer;
    std::vector<void*> open;
    for (unsigned level = 0; level < depth; ++level) {
        open.push_back(blobmsg_open_table(buffer.get(), "t"));
    }
    for (; !open.empty(); open.pop_back()) {
        blobmsg_close_table(buffer.get(), open.back());
    }
    return buffer;
}

TEST(MessageText, NoMessageHasNoText) {
    EXPECT_EQ(to_json_text(nullptr), std::nullopt);
}

TEST(MessageText, ArgumentsAreOneObject) {
    BlobBuffer buffer;
    buffer.add_json(std::string{R"({"agent_id":"gw","n":[1,{"x":true}]})"});

    EXPECT_EQ(to_json_text(buffer.get_head()), R"({"agent_id":"gw","n":[1,{"x":true}]})");
}

TEST(MessageText, IsNestedAsDeeplyAsTheBusCommandCanSend) {
    EXPECT_EQ(deepest_nesting, 32U);
}

TEST(MessageText, DeepestNestingIsAccepted) {
    BlobBuffer buffer = nested(deepest_nesting);

    const auto text = to_json_text(buffer.get_head());

    ASSERT_TRUE(text.has_value());
    EXPECT_EQ(text->substr(0, 10), R"({"t":{"t":)");
}

TEST(MessageText, DeeperNestingIsRefused) {
    for (const unsigned depth : {deepest_nesting + 1, 20'000U}) {
        BlobBuffer buffer = nested(depth);

        EXPECT_THROW((void)to_json_text(buffer.get_head()), NestingTooDeepException);
    }
}

}  // namespace

}  // namespace zephran::ubox
