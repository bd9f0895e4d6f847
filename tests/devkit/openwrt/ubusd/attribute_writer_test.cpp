#include "attribute_writer.h"

#include <gtest/gtest.h>

#include "bytes.h"

namespace zephran::ubusd {

namespace {

TEST(AttributeWriter, WritesARecordedCall) {
    AttributeWriter data;
    data.named_text("agent_id", "gw");
    AttributeWriter call;

    call.number(AttributeId::object_id, 0x7bb8faf7)
        .text(AttributeId::method, "poll")
        .text(AttributeId::user, "root")
        .text(AttributeId::group, "root")
        .nested(AttributeId::data, data.take());

    EXPECT_EQ(call.take(), bytes("03000008 7bb8faf7 04000009 706f6c6c 00000000"
                                 "0c000009 726f6f74 00000000 0d000009 726f6f74 00000000"
                                 "07000018 83000013 00086167 656e745f 69640000 67770000"));
}

TEST(AttributeWriter, WritesARecordedSignature) {
    AttributeWriter arguments;
    arguments.named_number("agent_id", 3);
    AttributeWriter methods;

    methods.named_table("poll", arguments.take()).named_table("fail", "");

    EXPECT_EQ(methods.take(), recorded_signature);
}

TEST(AttributeWriter, PadsFlagsAndLeavesNothingBehind) {
    AttributeWriter writer;

    writer.flag(AttributeId::no_reply, true).flag(AttributeId::no_reply, false);

    EXPECT_EQ(writer.take(), bytes("0a000005 01000000 0a000005 00000000"));
    EXPECT_EQ(writer.take(), "");
}

}  // namespace

}  // namespace zephran::ubusd
