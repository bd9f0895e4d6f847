// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "bytes.h"

namespace zephran::ubox_standin {

namespace {

bool refuse_to_grow(blob_buf* /*buf*/, int /*minlen*/) {
    return false;
}

void put_byte(Buffer& buffer, int id, std::uint8_t value) {
    blob_put(buffer.get(), id, &value, sizeof(value));
}

}  // namespace

TEST(BlobBuffer, StartsWithAnEmptyAttribute) {
    Buffer buffer{7};

    EXPECT_EQ(hex(buffer.head()), "07000004");
    EXPECT_EQ(blob_id(buffer.head()), 7U);
    EXPECT_EQ(blob_len(buffer.head()), 0U);
    EXPECT_FALSE(blob_is_extended(buffer.head()));
}

TEST(BlobBuffer, IsEmptiedByBeingStartedAgain) {
    Buffer buffer;
    blob_put_u32(buffer.get(), 1, 5);

    const int result = blob_buf_init(buffer.get(), 0);

    EXPECT_EQ(result, 0);
    EXPECT_EQ(hex(buffer.head()), "00000004");
}

TEST(BlobBuffer, ReportsLackOfMemoryAtTheStart) {
    blob_buf buf{};
    buf.grow = refuse_to_grow;

    EXPECT_EQ(blob_buf_init(&buf, 0), -ENOMEM);
}

TEST(BlobBuffer, IsZeroedByBeingFreed) {
    blob_buf buf{};
    blob_buf_init(&buf, 0);

    blob_buf_free(&buf);

    EXPECT_EQ(buf.buf, nullptr);
    EXPECT_EQ(buf.head, nullptr);
    EXPECT_EQ(buf.buflen, 0);
}

TEST(BlobBuffer, WritesEveryPlainTypeInNetworkOrderWithZeroPadding) {
    Buffer buffer;

    put_byte(buffer, 9, 1);
    blob_put_u32(buffer.get(), 1, 0x01020304);
    blob_put_string(buffer.get(), 2, "demo");

    EXPECT_EQ(hex(buffer.head()),
              "00000020 09000005 01000000 01000008 01020304 02000009 64656d6f 00000000");
}

TEST(BlobBuffer, CountsNestedAttributesIncludingTheirPadding) {
    Buffer buffer;

    void* const outer = blob_nest_start(buffer.get(), 6);
    void* const inner = blob_nest_start(buffer.get(), 7);
    put_byte(buffer, 1, 0xff);
    blob_nest_end(buffer.get(), inner);
    put_byte(buffer, 2, 0xee);
    blob_nest_end(buffer.get(), outer);
    put_byte(buffer, 3, 0xdd);

    EXPECT_EQ(hex(buffer.head()),
              "00000024 06000018 0700000c 01000005 ff000000 02000005 ee000000 03000005 dd000000");
}

TEST(BlobBuffer, KeepsNestedAttributesWhenTheStorageMoves) {
    Buffer buffer;
    const std::string large(100000, 'x');

    void* const nested = blob_nest_start(buffer.get(), 6);
    blob_put_string(buffer.get(), 2, large.c_str());
    blob_nest_end(buffer.get(), nested);

    auto* const outer = static_cast<blob_attr*>(blob_data(buffer.head()));
    EXPECT_EQ(blob_id(outer), 6U);
    EXPECT_EQ(blob_get_string(static_cast<blob_attr*>(blob_data(outer))), large);
}

TEST(BlobBuffer, RefusesWhatALengthOf24BitsCannotHold) {
    Buffer buffer;
    const std::vector<char> large(0x800000);

    EXPECT_NE(blob_put(buffer.get(), 1, large.data(), 0x7fffff), nullptr);
    const std::size_t before = blob_raw_len(buffer.head());
    EXPECT_EQ(blob_put(buffer.get(), 1, large.data(), 0x800000), nullptr);
    EXPECT_EQ(blob_raw_len(buffer.head()), before);
}

TEST(BlobBuffer, WritesTheStatusOfACallAsTheBusHasIt) {
    Buffer buffer;

    blob_put_u32(buffer.get(), 1, 3);
    blob_put_u32(buffer.get(), 3, 0x7bb8faf7);

    EXPECT_EQ(hex(buffer.head()), "00000014 01000008 00000003 03000008 7bb8faf7");
}

TEST(BlobAttribute, IsReadBackInEveryPlainType) {
    Received message{"00000020 09000005 fe000000 01000008 01020304 02000009 64656d6f 00000000"};

    const auto* attr = static_cast<const blob_attr*>(blob_data(message.attr()));
    EXPECT_EQ(blob_get_u8(attr), 0xfe);
    attr = blob_next(attr);
    EXPECT_EQ(blob_get_u32(attr), 0x01020304U);
    attr = blob_next(attr);
    EXPECT_STREQ(blob_get_string(attr), "demo");
}

}  // namespace zephran::ubox_standin
