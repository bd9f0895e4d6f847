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
    return Text{blobmsg_format_json(attr, true), &std::free}.get();
}

std::string indented(blob_attr* attr) {
    return Text{blobmsg_format_json_indent(attr, true, 0), &std::free}.get();
}

/// Through the values and back.
std::string there_and_back(const char* text, std::string (*format)(blob_attr*) = compact) {
    Buffer buffer;
    EXPECT_TRUE(blobmsg_add_json_from_string(buffer.get(), text));
    return format(buffer.head());
}

const char* replace_strings(void* priv, blob_attr* attr) {
    return blobmsg_type(attr) == BLOBMSG_TYPE_STRING ? static_cast<const char*>(priv) : nullptr;
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

TEST(JsonWriter, IndentsByTabs) {
    EXPECT_EQ(
        there_and_back(R"({"a":1,"b":[1,"x"],"c":{"d":2}})", indented),
        "{\n\t\"a\": 1,\n\t\"b\": [\n\t\t1,\n\t\t\"x\"\n\t],\n\t\"c\": {\n\t\t\"d\": 2\n\t}\n}");
}

TEST(JsonWriter, IndentsEvenWhatIsEmpty) {
    EXPECT_EQ(there_and_back("{}", indented), "{\n\t\n}");
    EXPECT_EQ(there_and_back(R"({"a":{}})", indented), "{\n\t\"a\": {\n\t\t\n\t}\n}");
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
    blobmsg_add_u16(buffer.get(), "h", 0xffff);
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

TEST(JsonWriter, LeavesBrokenMembersOut) {
    Received broken{"0700001c 8500000c 00016e00 00000007 8300000c 00017300 61626363"};

    EXPECT_EQ(compact(broken.attr()), R"({"n":7})");
}

TEST(JsonWriter, WritesANamedArrayAsAnArray) {
    Received array{"81000020 00016100 8500000c 00000000 00000001 8300000a 00000000 78000000"};

    EXPECT_EQ(compact(array.attr()), R"([1,"x"])");
}

TEST(JsonWriter, WritesASingleMember) {
    Received member{"8500000c 00016e00 00000007"};

    EXPECT_STREQ(Text(blobmsg_format_json(member.attr(), false), &std::free).get(), R"("n":7)");
}

TEST(JsonWriter, AsksTheCallbackForEveryValue) {
    Buffer buffer;
    blobmsg_add_json_from_string(buffer.get(), R"({"s":"x","n":7,"t":{"u":"y"}})");
    std::string replacement{"<text>"};

    const Text text{
        blobmsg_format_json_with_cb(buffer.head(), true, replace_strings, replacement.data(), -1),
        &std::free};

    EXPECT_STREQ(text.get(), R"({"s":<text>,"n":7,"t":{"u":<text>}})");
}

}  // namespace zephran::ubox_standin
