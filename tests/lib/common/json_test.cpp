// SPDX-License-Identifier: Apache-2.0
#include "common/json.h"

#include <gtest/gtest.h>

namespace zephran::common {
namespace {

const JSONValueExtractor extract;
const JSONOptionalValueExtractor extract_optional;

Json::Value parse(const std::string& text) {
    return JSONDefaultParser{}(text);
}

template <class Record, class Function>
typename Record::value_type record_of_type_error(const Function& function) {
    try {
        function();
    } catch (const UnexpectedTypeException& e) {
        const auto* const record = boost::get_error_info<Record>(e);
        if (record == nullptr) {
            throw std::logic_error{"the exception lacks the record"};
        }
        return *record;
    }
    throw std::logic_error{"nothing was thrown"};
}

TEST(JSONValueExtractor, ReturnsTheMemberItself) {
    const auto object = parse(R"({"a": "text"})");

    const Json::Value& member = extract(object, "a");

    EXPECT_EQ(&member, &object["a"]);
    EXPECT_EQ(member.asString(), "text");
}

TEST(JSONValueExtractor, NamesTheMissingKey) {
    const auto object = parse(R"({"a": 5})");

    try {
        extract(object, "b");
        FAIL() << "nothing was thrown";
    } catch (const MissingValueException& e) {
        EXPECT_STREQ(e.what(), "Missing value in JSON object");
        ASSERT_NE(boost::get_error_info<value_tag>(e), nullptr);
        EXPECT_EQ(*boost::get_error_info<value_tag>(e), "b");
    }
    EXPECT_FALSE(object.isMember("b"));
}

TEST(JSONValueExtractor, TreatsANullMemberAsMissing) {
    const auto object = parse(R"({"a": null})");

    EXPECT_THROW(extract(object, "a"), MissingValueException);
    EXPECT_THROW(extract(object, "a", Json::stringValue), MissingValueException);
}

TEST(JSONValueExtractor, TreatsNullAsAnEmptyObject) {
    const Json::Value null;

    EXPECT_THROW(extract(null, "a"), MissingValueException);
}

TEST(JSONValueExtractor, RequiresTheExactType) {
    const auto object = parse(R"({"a": 5})");

    EXPECT_EQ(extract(object, "a", Json::intValue).asInt(), 5);
    EXPECT_THROW(extract(object, "a", Json::uintValue), UnexpectedTypeException);
    EXPECT_THROW(extract(object, "a", Json::realValue), UnexpectedTypeException);
}

TEST(JSONValueExtractor, NamesTheFailure) {
    EXPECT_STREQ(UnexpectedTypeException{}.what(), "Unexpected type in JSON object");
}

TEST(JSONValueExtractor, ReportsKeyAndBothTypes) {
    const auto object = parse(R"({"a": 5})");
    const auto failing = [&object] { extract(object, "a", Json::stringValue); };

    EXPECT_EQ(record_of_type_error<value_tag>(failing), "a");
    EXPECT_EQ(record_of_type_error<found_type_tag>(failing), Json::intValue);
    EXPECT_EQ(record_of_type_error<expected_type_tag>(failing), Json::stringValue);
}

TEST(JSONValueExtractor, RefusesAnythingButAnObject) {
    for (const char* const text : {"[1, 2]", "7", R"("text")", "true"}) {
        const auto value = parse(text);
        const auto failing = [&value] { extract(value, "a"); };

        EXPECT_EQ(record_of_type_error<value_tag>(failing), "a") << text;
        EXPECT_EQ(record_of_type_error<found_type_tag>(failing), value.type()) << text;
        EXPECT_EQ(record_of_type_error<expected_type_tag>(failing), Json::objectValue) << text;
        EXPECT_THROW(extract(value, "a", Json::intValue), UnexpectedTypeException) << text;
    }
}

TEST(JSONOptionalValueExtractor, IsEmptyForAnAbsentOrNullMember) {
    const auto object = parse(R"({"a": null})");

    EXPECT_FALSE(extract_optional(object, "a"));
    EXPECT_FALSE(extract_optional(object, "a", Json::intValue));
    EXPECT_FALSE(extract_optional(object, "b"));
    EXPECT_FALSE(extract_optional(object, "b", Json::intValue));
    EXPECT_FALSE(extract_optional(Json::Value{}, "a"));
}

TEST(JSONOptionalValueExtractor, RefersToTheMember) {
    const auto object = parse(R"({"a": 5})");

    const auto member = extract_optional(object, "a");
    const auto typed_member = extract_optional(object, "a", Json::intValue);

    ASSERT_TRUE(member);
    EXPECT_EQ(&*member, &object["a"]);
    ASSERT_TRUE(typed_member);
    EXPECT_EQ(&*typed_member, &*member);
}

TEST(JSONOptionalValueExtractor, RefusesAnotherType) {
    const auto object = parse(R"({"a": 5})");
    const auto failing = [&object] { extract_optional(object, "a", Json::uintValue); };

    EXPECT_EQ(record_of_type_error<value_tag>(failing), "a");
    EXPECT_EQ(record_of_type_error<found_type_tag>(failing), Json::intValue);
    EXPECT_EQ(record_of_type_error<expected_type_tag>(failing), Json::uintValue);
}

TEST(JSONOptionalValueExtractor, IsEmptyForAnythingButAnObject) {
    for (const char* const text : {"[1, 2]", "7", R"("text")", "true"}) {
        const auto value = parse(text);

        EXPECT_FALSE(extract_optional(value, "a")) << text;
        EXPECT_FALSE(extract_optional(value, "a", Json::intValue)) << text;
    }
}

TEST(JSONDefaultParser, ReportsTheReadersOwnText) {
    for (const char* const text : {"", "   ", "{", R"({"a": })", "nonsense"}) {
        try {
            parse(text);
            FAIL() << "accepted: " << text;
        } catch (const ParserException& e) {
            EXPECT_STREQ(e.what(), "Failed to parse JSON object");
            ASSERT_NE(boost::get_error_info<parser_error_tag>(e), nullptr);
            EXPECT_FALSE(boost::get_error_info<parser_error_tag>(e)->empty()) << text;
        }
    }
}

TEST(JSONDefaultParser, ReportsTooDeepNestingLikeAnyOtherError) {
    const std::string text(100000, '[');

    try {
        parse(text);
        FAIL() << "nothing was thrown";
    } catch (const ParserException& e) {
        ASSERT_NE(boost::get_error_info<parser_error_tag>(e), nullptr);
        EXPECT_FALSE(boost::get_error_info<parser_error_tag>(e)->empty());
    }
}

TEST(JSONDefaultParser, ReadsBeyondANulCharacter) {
    const std::string text{"[\"a\0b\"]", 7};

    EXPECT_EQ(parse(text)[0].asString(), (std::string{"a\0b", 3}));
}

TEST(JSONDefaultWriter, WritesAnEmptyObject) {
    EXPECT_EQ(JSONDefaultWriter{}(parse("{}")), "{}");
}

TEST(JSONDefaultWriter, IndentsByTabsAndSortsKeys) {
    const auto value = parse(R"({"b": 1, "a": {"c": [true]}})");

    const auto text = JSONDefaultWriter{}(value);

    EXPECT_EQ(text,
              "{\n\t\"a\" : \n\t{\n\t\t\"c\" : \n\t\t[\n\t\t\ttrue\n\t\t]\n\t},\n\t\"b\" : 1\n}");
}

TEST(JSONDefaultWriter, IsUndoneByTheParser) {
    const auto value = parse(R"({"text": "\"\u00e4\n", "real": 0.1, "list": [null, {}, -3]})");

    EXPECT_EQ(parse(JSONDefaultWriter{}(value)), value);
}

}  // namespace
}  // namespace zephran::common
