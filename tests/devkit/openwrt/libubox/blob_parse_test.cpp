// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <string>

#include <gtest/gtest.h>

#include "bytes.h"

namespace zephran::ubox_standin {

namespace {

using Found = std::array<blob_attr*, 4>;

/// Ids 1 (int32), 2 (string) and 3 (anything); the table has rubbish in it.
int parse(Received& message, Found& found) {
    std::array<blob_attr_info, 4> policy{};
    policy[1].type = BLOB_ATTR_INT32;
    policy[2].type = BLOB_ATTR_STRING;
    policy[3].type = BLOB_ATTR_BINARY;
    found.fill(message.attr());
    return blob_parse(message.attr(), found.data(), policy.data(), static_cast<int>(policy.size()));
}

}  // namespace

TEST(BlobParse, FindsAttributesInAnyOrderAndPassesOverUnknownIds) {
    Received message{
        "00000024 02000009 64656d6f 00000000 0d000009 726f6f74 00000000 01000008 00000007"};
    Found found{};

    const int count = parse(message, found);

    EXPECT_EQ(count, 2);
    EXPECT_EQ(found[0], nullptr);
    ASSERT_NE(found[1], nullptr);
    EXPECT_EQ(blob_get_u32(found[1]), 7U);
    ASSERT_NE(found[2], nullptr);
    EXPECT_STREQ(blob_get_string(found[2]), "demo");
    EXPECT_EQ(found[3], nullptr);
}

TEST(BlobParse, LetsTheLastOfSeveralWin) {
    Received message{"00000014 01000008 00000001 01000008 00000002"};
    Found found{};

    parse(message, found);

    ASSERT_NE(found[1], nullptr);
    EXPECT_EQ(blob_get_u32(found[1]), 2U);
}

TEST(BlobParse, TakesAttributesOfWrongSizeForAbsent) {
    for (const auto* const attribute :
         {"01000004", "01000005 07000000", "01000006 00070000", "0100000c 00000000 00000007"}) {
        Received padded{"00000010" + std::string{attribute} + "0d000004 0d000004 0d000004"};
        Found found{};

        parse(padded, found);

        EXPECT_EQ(found[1], nullptr) << attribute;
    }
}

TEST(BlobParse, TakesStringsWithoutTheirEndForAbsent) {
    Received unterminated{"0000000c 02000008 64656d6f"};
    Received empty{"00000008 02000004"};
    Found found{};

    parse(unterminated, found);
    EXPECT_EQ(found[2], nullptr);
    parse(empty, found);
    EXPECT_EQ(found[2], nullptr);
}

TEST(BlobParse, StopsAtAnAttributeThatRunsPastTheEnd) {
    Received message{"00000018 01000008 00000001 02000fff 64656d6f 00000000"};
    Found found{};

    const int count = parse(message, found);

    EXPECT_EQ(count, 1);
    EXPECT_EQ(found[2], nullptr);
}

TEST(BlobParse, StopsAtAnAttributeShorterThanItsOwnWord) {
    for (const auto* const length : {"00", "01", "02", "03"}) {
        Received message{"00000014 02000009 64656d6f 00000000 010000" + std::string{length}};
        Found found{};

        const int count = parse(message, found);

        EXPECT_EQ(count, 1) << length;
        EXPECT_EQ(found[1], nullptr);
    }
}

TEST(BlobParse, ReadsTheAnswerToALookup) {
    Received message{
        "00000050 02000009 64656d6f 00000000 03000008 7bb8faf7 05000008 d673c7c7 06000030 82000020 "
        "0004706f 6c6c0000 85000014 00086167 656e745f 69640000 00000003 8200000c 00046661 "
        "696c0000"};
    std::array<blob_attr*, 8> found{};

    const int count = blob_parse(message.attr(), found.data(), nullptr, 8);

    EXPECT_EQ(count, 4);
    EXPECT_STREQ(blob_get_string(found[2]), "demo");
    EXPECT_EQ(blob_get_u32(found[3]), 0x7bb8faf7U);
    EXPECT_EQ(blob_get_u32(found[5]), 0xd673c7c7U);
    EXPECT_EQ(blob_len(found[6]), 0x2cU);
}

}  // namespace zephran::ubox_standin
