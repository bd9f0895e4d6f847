// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "bytes.h"

extern "C" {
#include <libubox/blobmsg_json.h>
}

namespace zephran::ubox_standin {

namespace {

/// The bytes that a text becomes, or "refused".
std::string read(const std::string& text) {
    Buffer buffer;
    const bool added = blobmsg_add_json_from_string(buffer.get(), text.c_str());
    if (!added) {
        EXPECT_EQ(blob_len(buffer.head()), 0U) << text;
    }
    return added ? content_hex(buffer.head()) : "refused";
}

std::string nested(int depth) {
    std::string text;
    for (int i = 0; i < depth; ++i) {
        text += R"({"a":)";
    }
    return text + "1" + std::string(static_cast<std::size_t>(depth), '}');
}

}  // namespace

TEST(JsonReader, MakesTheBytesOfARecordedReply) {
    EXPECT_EQ(read(R"({"ok":true,"s":"abc","n":7,"a":[1,"x"],"z":null})"),
              "8700000d 00026f6b 00000000 01000000 8300000c 00017300 61626300 8500000c 00016e00 "
              "00000007 81000020 00016100 8500000c 00000000 00000001 8300000a 00000000 78000000 "
              "80000008 00017a00");
}

TEST(JsonReader, MakesTheBytesOfARecordedCall) {
    EXPECT_EQ(read(R"({"agent_id":"gw"})"), "83000013 00086167 656e745f 69640000 67770000");
}

TEST(JsonReader, AddsNothingForAnEmptyObject) {
    EXPECT_EQ(read("{}"), "");
}

TEST(JsonReader, RefusesWhatIsNoObject) {
    for (const auto* const text : {"[1]", "5", "null", "", "\"x\"", "{", "{\"a\":}", "{\"a\":[}",
                                   "nonsense", "{\"a\":tru"}) {
        EXPECT_EQ(read(text), "refused") << text;
    }
}

TEST(JsonReader, IsNotStrict) {
    EXPECT_EQ(read(R"({"n":7} and more)"), "8500000c 00016e00 00000007");
    EXPECT_EQ(read("/* seven */ {'n':7}"), "8500000c 00016e00 00000007");
}

TEST(JsonReader, AcceptsThirtyOneLevelsAndNoMore) {
    EXPECT_NE(read(nested(31)), "refused");
    EXPECT_EQ(read(nested(32)), "refused");
}

TEST(JsonReader, LetsTheLastOfTwoEqualKeysWin) {
    EXPECT_EQ(read(R"({"n":1,"n":7})"), "8500000c 00016e00 00000007");
}

TEST(JsonReader, KeepsTheOrderOfMembers) {
    EXPECT_EQ(read(R"({"z":null,"a":null})"), "80000008 00017a00 80000008 00016100");
}

TEST(JsonReader, ChoosesTheSizeOfIntegersByTheirValue) {
    EXPECT_EQ(read(R"({"n":2147483647})"), "8500000c 00016e00 7fffffff");
    EXPECT_EQ(read(R"({"n":-2147483648})"), "8500000c 00016e00 80000000");
    EXPECT_EQ(read(R"({"n":2147483648})"), "84000010 00016e00 00000000 80000000");
    EXPECT_EQ(read(R"({"n":-2147483649})"), "84000010 00016e00 ffffffff 7fffffff");
}

TEST(JsonReader, ClampsIntegersToSixtyFourBits) {
    EXPECT_EQ(read(R"({"n":99999999999999999999})"), "84000010 00016e00 7fffffff ffffffff");
    EXPECT_EQ(read(R"({"n":18446744073709551615})"), "84000010 00016e00 7fffffff ffffffff");
    EXPECT_EQ(read(R"({"n":-99999999999999999999})"), "84000010 00016e00 80000000 00000000");
}

TEST(JsonReader, MakesDoublesOfReals) {
    EXPECT_EQ(read(R"({"d":1.5})"), "88000010 00016400 3ff80000 00000000");
}

TEST(JsonReader, MakesBytesOfBooleans) {
    EXPECT_EQ(read(R"({"b":false})"), "87000009 00016200 00000000");
}

TEST(JsonReader, CutsStringsAtAnEmbeddedNul) {
    EXPECT_EQ(read(R"({"s":"abc\u0000def"})"), "8300000c 00017300 61626300");
}

TEST(JsonReader, PassesBytesThatAreNotUtf8) {
    EXPECT_EQ(read("{\"s\":\"\xff\xfe\"}"), "8300000b 00017300 fffe0000");
}

TEST(JsonReader, AddsToWhatIsThere) {
    Buffer buffer;
    blobmsg_add_u32(buffer.get(), "n", 7);

    EXPECT_TRUE(blobmsg_add_json_from_string(buffer.get(), R"({"z":null})"));

    EXPECT_EQ(content_hex(buffer.head()), "8500000c 00016e00 00000007 80000008 00017a00");
}

}  // namespace zephran::ubox_standin
