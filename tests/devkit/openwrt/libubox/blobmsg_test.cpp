// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bytes.h"

namespace zephran::ubox_standin {

TEST(Blobmsg, WritesAString) {
    Buffer buffer;

    blobmsg_add_string(buffer.get(), "s", "abc");

    EXPECT_EQ(content_hex(buffer.head()), "8300000c 00017300 61626300");
}

TEST(Blobmsg, WritesAnInteger) {
    Buffer buffer;

    blobmsg_add_u32(buffer.get(), "n", 7);

    EXPECT_EQ(content_hex(buffer.head()), "8500000c 00016e00 00000007");
}

TEST(Blobmsg, WritesABooleanWithPaddingOutsideItsLength) {
    Buffer buffer;

    blobmsg_add_u8(buffer.get(), "ok", 1);

    EXPECT_EQ(content_hex(buffer.head()), "8700000d 00026f6b 00000000 01000000");
}

TEST(Blobmsg, WritesNull) {
    Buffer buffer;

    blobmsg_add_field(buffer.get(), BLOBMSG_TYPE_UNSPEC, "z", nullptr, 0);

    EXPECT_EQ(content_hex(buffer.head()), "80000008 00017a00");
}

TEST(Blobmsg, WritesAnArrayWithNamelessElements) {
    Buffer buffer;

    void* const array = blobmsg_open_nested(buffer.get(), "a", true);
    blobmsg_add_u32(buffer.get(), nullptr, 1);
    blobmsg_add_string(buffer.get(), "", "x");
    blob_nest_end(buffer.get(), array);

    EXPECT_EQ(content_hex(buffer.head()),
              "81000020 00016100 8500000c 00000000 00000001 8300000a 00000000 78000000");
}

TEST(Blobmsg, WritesTheOtherNumbers) {
    Buffer buffer;

    blobmsg_add_u64(buffer.get(), "l", 0x0102030405060708);
    blobmsg_add_double(buffer.get(), "d", 1.5);

    EXPECT_EQ(content_hex(buffer.head()),
              "84000010 00016c00 01020304 05060708 88000010 00016400 3ff80000 00000000");
}

TEST(Blobmsg, WritesTheSignatureThatARegistrationCarries) {
    Buffer buffer{6};

    void* const poll = blobmsg_open_table(buffer.get(), "poll");
    blobmsg_add_u32(buffer.get(), "agent_id", BLOBMSG_TYPE_STRING);
    blobmsg_close_table(buffer.get(), poll);
    blobmsg_close_table(buffer.get(), blobmsg_open_table(buffer.get(), "fail"));

    EXPECT_EQ(hex(buffer.head()),
              "06000030 82000020 0004706f 6c6c0000 85000014 00086167 656e745f 69640000 00000003 "
              "8200000c 00046661 696c0000");
}

TEST(Blobmsg, ReadsBackWhatItWrote) {
    Buffer buffer;
    blobmsg_add_u8(buffer.get(), "b", 1);
    const std::array<char, 2> two_bytes{'\xff', '\xfe'};
    blobmsg_add_field(buffer.get(), BLOBMSG_TYPE_INT16, "h", two_bytes.data(), two_bytes.size());
    blobmsg_add_u32(buffer.get(), "n", 0xfffffffe);
    blobmsg_add_u64(buffer.get(), "l", 0xfffffffffffffffe);
    blobmsg_add_double(buffer.get(), "d", -0.25);
    blobmsg_add_string(buffer.get(), "text", "abc");

    std::vector<std::string> names;
    blob_attr* attr = nullptr;
    std::size_t rest = 0;
    blobmsg_for_each_attr(attr, buffer.head(), rest) {
        EXPECT_TRUE(blobmsg_check_attr(attr, true));
        names.emplace_back(blobmsg_name(attr));
        switch (blobmsg_type(attr)) {
            case BLOBMSG_TYPE_BOOL:
                EXPECT_TRUE(blobmsg_get_bool(attr));
                break;
            case BLOBMSG_TYPE_INT16:
                EXPECT_EQ(blobmsg_get_u16(attr), 0xfffe);
                break;
            case BLOBMSG_TYPE_INT32:
                EXPECT_EQ(blobmsg_get_u32(attr), 0xfffffffe);
                break;
            case BLOBMSG_TYPE_INT64:
                EXPECT_EQ(blobmsg_get_u64(attr), 0xfffffffffffffffe);
                break;
            case BLOBMSG_TYPE_DOUBLE:
                EXPECT_EQ(blobmsg_get_double(attr), -0.25);
                break;
            default:
                EXPECT_STREQ(static_cast<const char*>(blobmsg_data(attr)), "abc");
        }
    }
    EXPECT_EQ(names, (std::vector<std::string>{"b", "h", "n", "l", "d", "text"}));
}

TEST(Blobmsg, WalksOverTheElementsOfANamedArray) {
    Received array{"81000020 00016100 8500000c 00000000 00000001 8300000a 00000000 78000000"};

    std::vector<int> types;
    blob_attr* attr = nullptr;
    std::size_t rest = 0;
    blobmsg_for_each_attr(attr, array.attr(), rest) {
        types.push_back(blobmsg_type(attr));
    }

    EXPECT_EQ(types, (std::vector<int>{BLOBMSG_TYPE_INT32, BLOBMSG_TYPE_STRING}));
}

TEST(Blobmsg, WalksOverNothingWithoutAnAttribute) {
    const blob_attr* none = nullptr;
    blob_attr* attr = nullptr;
    std::size_t rest = 1;
    int count = 0;

    blobmsg_for_each_attr(attr, none, rest) {
        ++count;
    }
    blob_for_each_attr(attr, none, rest) {
        ++count;
    }

    EXPECT_EQ(count, 0);
}

}  // namespace zephran::ubox_standin
