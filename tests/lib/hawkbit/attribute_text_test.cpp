// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/attribute_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zephran::hawkbit {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

using Attributes = std::map<std::string, std::string>;

MATCHER_P2(Change, key, what, "") {
    return arg.key == key && arg.what == what;
}

/// k000, k001, …
Attributes numbered(std::size_t count) {
    Attributes attributes;
    for (std::size_t i = 0; i < count; ++i) {
        const auto number = std::to_string(i);
        attributes["k" + std::string(3 - number.size(), '0') + number] = number;
    }
    return attributes;
}

TEST(CleanAttributes, GoodOnesAreNotTouched) {
    const Attributes attributes{{"hw", "1"}, {"", ""}, {" a\tb\n", "x <b> \v\f\r"}};

    const auto result = clean_attributes(attributes);

    EXPECT_EQ(result.attributes, attributes);
    EXPECT_THAT(result.changes, IsEmpty());
}

TEST(CleanAttributes, ExactlyTheServersCharactersAreKept) {
    const std::string accepted =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 \t\n\v\f\r"
        "_-!@#$%^&*()+=[]{}|;:'\",.<>/\\?";

    for (int code = 0; code < 128; ++code) {
        const std::string text(1, static_cast<char>(code));
        const auto result = clean_attributes({{"key", text}});

        const bool is_accepted = accepted.find(text) != std::string::npos;
        EXPECT_EQ(result.attributes.at("key"), is_accepted ? text : "?") << code;
    }
}

TEST(CleanAttributes, OneCharacterOutsideAsciiIsOneQuestionMark) {
    const auto result = clean_attributes({{"temp", "20 \xC2\xB0\x43 \xF0\x9F\x98\x80"}});

    EXPECT_THAT(result.attributes, ElementsAre(Pair("temp", "20 ?C ?")));
    EXPECT_THAT(result.changes, ElementsAre(Change("temp", "value changed")));
}

TEST(CleanAttributes, EveryInvalidByteIsAQuestionMark) {
    const auto result = clean_attributes({{"name", "\xFC\xE2\x82z"}});

    EXPECT_EQ(result.attributes.at("name"), "???z");
}

TEST(CleanAttributes, CutsAt128Characters) {
    const std::string fits(128, 'a');
    const std::string long_key(129, 'k');

    const auto result = clean_attributes({{"fits", fits}, {"long", fits + "b"}, {long_key, "v"}});

    EXPECT_THAT(result.attributes, ElementsAre(Pair("fits", fits), Pair(std::string(128, 'k'), "v"),
                                               Pair("long", fits)));
    EXPECT_THAT(result.changes,
                ElementsAre(Change(long_key, "key changed"), Change("long", "value changed")));
}

TEST(CleanAttributes, CountsAfterReplacing) {
    std::string umlauts;
    for (int i = 0; i < 128; ++i) {
        umlauts += "\xC3\xA4";
    }

    const auto result = clean_attributes({{"a", umlauts}, {"b", umlauts + "\xC3\xA4"}});

    EXPECT_EQ(result.attributes.at("a"), std::string(128, '?'));
    EXPECT_EQ(result.attributes.at("b"), std::string(128, '?'));
}

TEST(CleanAttributes, OfKeysThatBecomeEqualTheFirstStays) {
    const auto result = clean_attributes({{"a?", "first"}, {"a`", "second"}, {"a~", "third"}});

    EXPECT_THAT(result.attributes, ElementsAre(Pair("a?", "first")));
    EXPECT_THAT(result.changes, ElementsAre(Change("a`", "dropped: key taken after cleaning"),
                                            Change("a~", "dropped: key taken after cleaning")));
}

TEST(CleanAttributes, KeyAndValueAreReportedApart) {
    const auto result = clean_attributes({{"a~", "`"}});

    EXPECT_THAT(result.attributes, ElementsAre(Pair("a?", "?")));
    EXPECT_THAT(result.changes,
                ElementsAre(Change("a~", "key changed"), Change("a~", "value changed")));
}

TEST(CleanAttributes, AHundredAreKept) {
    const auto attributes = numbered(100);

    const auto result = clean_attributes(attributes);

    EXPECT_EQ(result.attributes, attributes);
    EXPECT_THAT(result.changes, IsEmpty());
}

TEST(CleanAttributes, OfMoreTheFirstHundredAreKept) {
    const auto result = clean_attributes(numbered(102));

    EXPECT_EQ(result.attributes, numbered(100));
    EXPECT_THAT(result.changes, ElementsAre(Change("k100", "dropped: too many attributes"),
                                            Change("k101", "dropped: too many attributes")));
}

TEST(CleanAttributes, TheDaemonsOwnAreAlwaysKept) {
    auto attributes = numbered(100);
    const Attributes own{{"dormant", "false"}, {"installed_flash_type", "nand"}, {"parent", "gw"}};
    attributes.insert(own.begin(), own.end());

    const auto result = clean_attributes(attributes);

    auto expected = numbered(97);
    expected.insert(own.begin(), own.end());
    EXPECT_EQ(result.attributes, expected);
    EXPECT_THAT(result.changes, ElementsAre(Change("k097", "dropped: too many attributes"),
                                            Change("k098", "dropped: too many attributes"),
                                            Change("k099", "dropped: too many attributes")));
}

TEST(CleanAttributes, CleaningComesBeforeCounting) {
    auto attributes = numbered(99);
    attributes["z`"] = "first";
    attributes["z~"] = "second";

    const auto result = clean_attributes(attributes);

    EXPECT_EQ(result.attributes.size(), 100U);
    EXPECT_EQ(result.attributes.at("z?"), "first");
    EXPECT_THAT(result.changes, ElementsAre(Change("z`", "key changed"),
                                            Change("z~", "dropped: key taken after cleaning")));
}

TEST(CleanAttributes, NothingGivesNothing) {
    const auto result = clean_attributes({});

    EXPECT_THAT(result.attributes, IsEmpty());
    EXPECT_THAT(result.changes, IsEmpty());
}

}  // namespace
}  // namespace zephran::hawkbit
