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

    void* const array = blobmsg_open_array(buffer.get(), "a");
    blobmsg_add_u32(buffer.get(), nullptr, 1);
    blobmsg_add_string(buffer.get(), "", "x");
    blobmsg_close_array(buffer.get(), array);

    EXPECT_EQ(content_hex(buffer.head()),
              "81000020 00016100 8500000c 00000000 00000001 8300000a 00000000 78000000");
}

TEST(Blobmsg, WritesTheOtherNumbers) {
    Buffer buffer;

    blobmsg_add_u16(buffer.get(), "h", 0x0102);
    blobmsg_add_u64(buffer.get(), "l", 0x0102030405060708);
    blobmsg_add_double(buffer.get(), "d", 1.5);

    EXPECT_EQ(content_hex(buffer.head()),
              "8600000a 00016800 01020000 84000010 00016c00 01020304 05060708 "
              "88000010 00016400 3ff80000 00000000");
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

TEST(Blobmsg, RefusesANameThatItsLengthCannotTell) {
    Buffer buffer;
    const std::string longest(0xffff, 'n');

    EXPECT_EQ(blobmsg_add_u8(buffer.get(), longest.c_str(), 1), 0);
    EXPECT_EQ(blobmsg_add_u8(buffer.get(), (longest + 'n').c_str(), 1), -1);
}

TEST(Blobmsg, ReadsBackWhatItWrote) {
    Buffer buffer;
    blobmsg_add_u8(buffer.get(), "b", 1);
    blobmsg_add_u16(buffer.get(), "h", 0xfffe);
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
                EXPECT_STREQ(blobmsg_get_string(attr), "abc");
        }
    }
    EXPECT_EQ(names, (std::vector<std::string>{"b", "h", "n", "l", "d", "text"}));
}

TEST(Blobmsg, WalksOverTheElementsOfANamedArray) {
    Received array{"81000020 00016100 8500000c 00000000 00000001 8300000a 00000000 78000000"};

    std::vector<int> types;
    blob_attr* attr = nullptr;
    int rest = 0;
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

TEST(BlobmsgParse, FindsValuesByNameAndType) {
    Received call{
        "07000024 8500000c 00016e00 00000007 83000013 00086167 656e745f 69640000 67770000"};
    const std::array<blobmsg_policy, 4> policy{{{"agent_id", BLOBMSG_TYPE_STRING},
                                                {"n", BLOBMSG_TYPE_UNSPEC},
                                                {"n", BLOBMSG_TYPE_STRING},
                                                {"absent", BLOBMSG_TYPE_STRING}}};
    std::array<blob_attr*, 4> found{};
    found.fill(call.attr());

    const int result = blobmsg_parse(policy.data(), 4, found.data(), blob_data(call.attr()),
                                     static_cast<unsigned>(blob_len(call.attr())));

    EXPECT_EQ(result, 0);
    EXPECT_STREQ(blobmsg_get_string(found[0]), "gw");
    ASSERT_NE(found[1], nullptr);
    EXPECT_EQ(blobmsg_get_u32(found[1]), 7U);
    EXPECT_EQ(found[2], nullptr);
    EXPECT_EQ(found[3], nullptr);
}

TEST(BlobmsgParse, ReportsABrokenValue) {
    Received call{"07000010 8500000a 00016e00 00000000"};
    const blobmsg_policy policy{"n", BLOBMSG_TYPE_INT32};
    blob_attr* found = nullptr;

    EXPECT_EQ(blobmsg_parse(&policy, 1, &found, blob_data(call.attr()),
                            static_cast<unsigned>(blob_len(call.attr()))),
              -1);
    EXPECT_EQ(found, nullptr);
}

}  // namespace zephran::ubox_standin
