// SPDX-License-Identifier: Apache-2.0
#include "ubus/blob_buffer.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "ubus/exceptions.h"
#include "ubus/message_text.h"

namespace zephran::ubox {

namespace {

std::string text_of(BlobBuffer& buffer) {
    return to_json_text(buffer.get_head()).value();
}

TEST(BlobBuffer, NewOneIsAnEmptyMessage) {
    BlobBuffer buffer;

    EXPECT_EQ(text_of(buffer), "{}");
    EXPECT_EQ(buffer.get()->head, buffer.get_head());
    EXPECT_EQ(blob_id(buffer.get_head()), 0U);
}

TEST(BlobBuffer, KeepsTheOrderOfMembersInAText) {
    BlobBuffer buffer;

    buffer.add_json(std::string{R"({"b":1,"a":"x","c":[true,null]})"});

    EXPECT_EQ(text_of(buffer), R"({"b":1,"a":"x","c":[true,null]})");
}

TEST(BlobBuffer, WritesTheMembersOfADocumentSortedByName) {
    Json::Value document;
    document["success"] = true;
    document["action_id"] = "7";
    document["chunks"][0]["version"] = "1.0";
    BlobBuffer buffer;

    buffer.add_json(document);

    EXPECT_EQ(text_of(buffer), R"({"action_id":"7","chunks":[{"version":"1.0"}],"success":true})");
}

TEST(BlobBuffer, CarriesEveryCharacter) {
    const std::string unusual = "quote \" backslash \\ tab \t line \n bell \a ü € 😀 </script>";
    Json::Value document;
    document["text"] = unusual;
    BlobBuffer buffer;

    buffer.add_json(document);

    const auto text = to_json_text(buffer.get_head());
    Json::Value read;
    ASSERT_TRUE(Json::Reader{}.parse(text.value(), read));
    EXPECT_EQ(read["text"].asString(), unusual);
}

TEST(BlobBuffer, RefusesAnythingButAnObject) {
    for (const char* const text : {"[1]", "5", "null", "", "{", "word"}) {
        BlobBuffer buffer;
        try {
            buffer.add_json(std::string{text});
            ADD_FAILURE() << "was taken: " << text;
        } catch (const NotAnObjectException& error) {
            const std::string* const refused = boost::get_error_info<json_text_tag>(error);
            ASSERT_NE(refused, nullptr);
            EXPECT_EQ(*refused, text);
        }
    }
}

TEST(BlobBuffer, MovesItsMessage) {
    BlobBuffer first;
    first.add_json(std::string{R"({"a":1})"});

    BlobBuffer second{std::move(first)};
    BlobBuffer third;
    third.add_json(std::string{R"({"b":2})"});
    third = std::move(second);

    EXPECT_EQ(text_of(third), R"({"a":1})");
    // A buffer that was moved from is empty and usable.
    first.add_json(std::string{R"({"c":3})"});  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(text_of(first), R"({"c":3})");
}

TEST(BlobBuffer, ResetStartsAnEmptyMessageInAnyMemory) {
    blob_buf buffer;
    std::fill_n(reinterpret_cast<unsigned char*>(&buffer), sizeof buffer, 0xAA);

    reset_buffer(&buffer);

    EXPECT_EQ(blob_len(buffer.head), 0U);
    blob_buf_free(&buffer);
}

}  // namespace

}  // namespace zephran::ubox
