#include "attribute.h"

#include <gmock/gmock.h>

#include "bytes.h"

namespace zephran::ubusd {

namespace {

using testing::IsEmpty;
using testing::SizeIs;

TEST(SplitAttributes, TakesRecordedAttributesApart) {
    const std::string payload = bytes("02000009 64656d6f 00000000 03000008 7bb8faf7");

    const AttributeList list = split_attributes(payload);

    ASSERT_THAT(list.attributes, SizeIs(2));
    EXPECT_TRUE(list.complete);
    EXPECT_EQ(list.attributes[0].id, 2);
    EXPECT_FALSE(list.attributes[0].extended);
    EXPECT_EQ(list.attributes[0].payload, bytes("64656d6f 00"));
    EXPECT_EQ(list.attributes[1].id, 3);
    EXPECT_EQ(list.attributes[1].payload, bytes("7bb8faf7"));
}

TEST(SplitAttributes, LastAttributeMayLackItsPadding) {
    const std::string payload = bytes("03000008 7bb8faf7 02000005 00");

    const AttributeList list = split_attributes(payload);

    EXPECT_THAT(list.attributes, SizeIs(2));
    EXPECT_TRUE(list.complete);
}

TEST(SplitAttributes, EmptyListIsComplete) {
    EXPECT_TRUE(split_attributes("").complete);
    EXPECT_THAT(split_attributes("").attributes, IsEmpty());
}

struct BrokenList {
    const char* description;
    const char* digits;
};

class BrokenListTest : public testing::TestWithParam<BrokenList> {};

TEST_P(BrokenListTest, EndsBeforeTheAttributeThatCannotBe) {
    const std::string payload = bytes("03000008 00000001") + bytes(GetParam().digits);

    const AttributeList list = split_attributes(payload);

    EXPECT_THAT(list.attributes, SizeIs(1));
    EXPECT_FALSE(list.complete);
}

INSTANTIATE_TEST_SUITE_P(Lists, BrokenListTest,
                         testing::Values(BrokenList{"LengthZero", "03000000 03000008 00000002"},
                                         BrokenList{"LengthThree", "03000003 03000008 00000002"},
                                         BrokenList{"PastTheEnd", "03000009 00000002"},
                                         BrokenList{"LargestLength", "03ffffff 00000002"},
                                         BrokenList{"CutWord", "0300"}),
                         [](const auto& tested) { return tested.param.description; });

TEST(DecodeNamed, GivesNameTypeAndValue) {
    const std::string text = bytes("8300000c 00017300 61626300");
    const std::string flag = bytes("8700000d 00026f6b 00000000 01000000");
    const std::string null = bytes("80000008 00017a00");

    const auto string_value = decode_named(split_attributes(text).attributes.at(0));
    const auto flag_value = decode_named(split_attributes(flag).attributes.at(0));
    const auto null_value = decode_named(split_attributes(null).attributes.at(0));

    ASSERT_TRUE(string_value && flag_value && null_value);
    EXPECT_EQ(string_value->type, ValueType::string);
    EXPECT_EQ(string_value->name, "s");
    EXPECT_EQ(string_value->value, bytes("61626300"));
    EXPECT_EQ(flag_value->name, "ok");
    EXPECT_EQ(flag_value->value, bytes("01"));
    EXPECT_EQ(null_value->name, "z");
    EXPECT_EQ(null_value->value, "");
}

class BrokenNameTest : public testing::TestWithParam<BrokenList> {};

TEST_P(BrokenNameTest, IsNoNamedValue) {
    const std::string payload = bytes(GetParam().digits);
    const AttributeList list = split_attributes(payload);

    ASSERT_THAT(list.attributes, SizeIs(1));
    EXPECT_FALSE(decode_named(list.attributes[0]));
}

INSTANTIATE_TEST_SUITE_P(Names, BrokenNameTest,
                         testing::Values(BrokenList{"WithoutFlag", "0300000c 00017300 61626300"},
                                         BrokenList{"WithoutLength", "83000004"},
                                         BrokenList{"HalfALength", "83000005 00"},
                                         BrokenList{"WithoutNul", "83000008 00026f6b"},
                                         BrokenList{"SomethingInPlaceOfNul",
                                                    "8300000c 00017373 61626300"},
                                         BrokenList{"PastTheEnd", "8300000c ffff7300 61626300"}),
                         [](const auto& tested) { return tested.param.description; });

TEST(DecodeText, EndsAtItsFirstNulAndNeedsALastOne) {
    EXPECT_EQ(decode_text(bytes("616200")), "ab");
    EXPECT_EQ(decode_text(bytes("61006200")), "a");
    EXPECT_EQ(decode_text(bytes("00")), "");
    EXPECT_EQ(decode_text(bytes("6162")), std::nullopt);
    EXPECT_EQ(decode_text(""), std::nullopt);
}

TEST(MessageAttributes, LastValidOneOfAKindHolds) {
    const std::string payload =
        bytes("03000008 00000001 03000008 00000002 03000006 0003 0000 83000008 00000004");

    const MessageAttributes attributes{payload};

    EXPECT_EQ(attributes.number(AttributeId::object_id), 2U);
}

TEST(MessageAttributes, WrongShapeCountsAsAbsent) {
    const std::string payload =
        bytes("02000006 6162 0000 03000009 00000000 01000000 0a000006 01010000 04000004");

    const MessageAttributes attributes{payload};

    EXPECT_EQ(attributes.text(AttributeId::object_path), std::nullopt);
    EXPECT_EQ(attributes.number(AttributeId::object_id), std::nullopt);
    EXPECT_EQ(attributes.text(AttributeId::method), std::nullopt);
    EXPECT_FALSE(attributes.flag(AttributeId::no_reply));
    EXPECT_EQ(attributes.nested(AttributeId::data), std::nullopt);
}

TEST(MessageAttributes, FlagIsSetByAnyValueButZero) {
    const std::string set = bytes("0a000005 80000000");
    const std::string clear = bytes("0a000005 01000000 0a000005 00000000");

    EXPECT_TRUE(MessageAttributes{set}.flag(AttributeId::no_reply));
    EXPECT_FALSE(MessageAttributes{clear}.flag(AttributeId::no_reply));
}

TEST(MessageAttributes, EmptyNestedListIsPresent) {
    const std::string payload = bytes("07000004");

    EXPECT_EQ(MessageAttributes{payload}.nested(AttributeId::data), "");
}

}  // namespace

}  // namespace zephran::ubusd
