// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "bytes.h"

extern "C" {
#include <libubox/blobmsg_json.h>
}

namespace zephran::ubox_standin {

namespace {

using Text = std::unique_ptr<char, decltype(&std::free)>;

std::string compact(blob_attr* attr) {
    return Text{blobmsg_format_json_with_cb(attr, true, nullptr, nullptr, -1), &std::free}.get();
}

/// Through the values and back.
std::string there_and_back(const char* text) {
    Buffer buffer;
    EXPECT_TRUE(blobmsg_add_json_from_string(buffer.get(), text));
    return compact(buffer.head());
}

}  // namespace

TEST(JsonWriter, WritesNoBlanksInCompactForm) {
    const char* const text = R"({"a":1,"b":[1,"x"],"c":{"d":null},"e":true,"f":false})";

    EXPECT_EQ(there_and_back(text), text);
}

TEST(JsonWriter, ReadsARecordedReply) {
    Received reply{
        "07000054 8700000d 00026f6b 00000000 01000000 8300000c 00017300 61626300 8500000c 00016e00 "
        "00000007 81000020 00016100 8500000c 00000000 00000001 8300000a 00000000 78000000 80000008 "
        "00017a00"};

    EXPECT_EQ(compact(reply.attr()), R"({"ok":true,"s":"abc","n":7,"a":[1,"x"],"z":null})");
}

TEST(JsonWriter, WritesAnEmptyPayloadAsAnEmptyObject) {
    Received empty{"07000004"};

    EXPECT_EQ(compact(empty.attr()), "{}");
}

TEST(JsonWriter, WritesDoublesWithSixDecimals) {
    EXPECT_EQ(there_and_back(R"({"d":1.5,"e":-0.1234567})"), R"({"d":1.500000,"e":-0.123457})");
}

TEST(JsonWriter, WritesWhatIsNoNumberAsNan) {
    Buffer buffer;
    blobmsg_add_double(buffer.get(), "d", std::nan(""));

    EXPECT_EQ(compact(buffer.head()), R"({"d":nan})");
}

TEST(JsonWriter, WritesIntegersOfEverySizeWithTheirSign) {
    Buffer buffer;
    const std::array<char, 2> two_bytes{'\xff', '\xff'};
    blobmsg_add_field(buffer.get(), BLOBMSG_TYPE_INT16, "h", two_bytes.data(), two_bytes.size());
    blobmsg_add_u32(buffer.get(), "n", 0x80000000);
    blobmsg_add_u64(buffer.get(), "l", 0x8000000000000000);

    EXPECT_EQ(compact(buffer.head()), R"({"h":-1,"n":-2147483648,"l":-9223372036854775808})");
}

TEST(JsonWriter, EscapesControlCharactersQuotesAndBackslashes) {
    Buffer buffer;
    blobmsg_add_string(buffer.get(), "s", "\b\n\t\r\x01\x1f\f\"\\/");

    EXPECT_EQ(compact(buffer.head()), R"({"s":"\b\n\t\r\u0001\u001f\u000c\"\\/"})");
}

TEST(JsonWriter, EscapesNamesToo) {
    Buffer buffer;
    blobmsg_add_u32(buffer.get(), "a\"b", 1);

    EXPECT_EQ(compact(buffer.head()), R"({"a\"b":1})");
}

TEST(JsonWriter, LeavesAllOtherBytesAsTheyAre) {
    Buffer buffer;
    blobmsg_add_string(buffer.get(), "s", "\x7f\xc3\xa4\xff");

    EXPECT_EQ(compact(buffer.head()), "{\"s\":\"\x7f\xc3\xa4\xff\"}");
}

TEST(JsonWriter, WritesMembersWithEmptyNamesWithoutKey) {
    EXPECT_EQ(there_and_back(R"({"":"x"})"), R"({"x"})");
    EXPECT_EQ(there_and_back(R"({"":1})"), "{1}");
}

TEST(JsonWriter, LeavesOnlyTheCommaOfBrokenMembers) {
    Received last{"0700001c 8500000c 00016e00 00000007 8300000c 00017300 61626363"};
    Received first{"0700001c 8300000c 00017300 61626363 8500000c 00016e00 00000007"};

    EXPECT_EQ(compact(last.attr()), R"({"n":7,})");
    EXPECT_EQ(compact(first.attr()), R"({,"n":7})");
}

TEST(JsonWriter, WritesMembersThatCannotHaveANameWithoutKey) {
    Received nameless{"07000018 05000008 00000007 8500000c 00016e00 00000007"};

    EXPECT_EQ(compact(nameless.attr()), R"({7,"n":7})");
}

TEST(JsonWriter, WritesANamedArrayAsAnArray) {
    Received array{"81000020 00016100 8500000c 00000000 00000001 8300000a 00000000 78000000"};

    EXPECT_EQ(compact(array.attr()), R"([1,"x"])");
}

}  // namespace zephran::ubox_standin
