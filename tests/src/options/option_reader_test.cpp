// SPDX-License-Identifier: Apache-2.0
#include "options/option_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/memory_config.h"

namespace zephran {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

class OptionReaderTest : public ::testing::Test {
protected:
    static constexpr const char* key = "zephran.network.thing";

    CapturedLog log;
    MemoryConfig config;
    const OptionReader reader{config, "network"};
};

TEST_F(OptionReaderTest, MissingOptionIsAbsentWithoutALine) {
    EXPECT_EQ(reader.text("thing"), std::nullopt);
    EXPECT_EQ(reader.flag("thing"), std::nullopt);
    EXPECT_EQ(reader.number("thing", {1, 9}), std::nullopt);
    EXPECT_EQ(reader.choice<int>("thing", {{"a", 1}}), std::nullopt);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(OptionReaderTest, EmptyValueIsAbsentWithoutALine) {
    config.values[key] = "";

    EXPECT_EQ(reader.text("thing"), std::nullopt);
    EXPECT_EQ(reader.flag("thing"), std::nullopt);
    EXPECT_EQ(reader.number("thing", {1, 9}), std::nullopt);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(OptionReaderTest, OptionThatCannotBeReadIsAbsent) {
    config.unreadable_keys.insert(key);

    EXPECT_EQ(reader.flag("thing"), std::nullopt);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(OptionReaderTest, OnlyOptionsOfItsSectionAreRead) {
    config.values["zephran.service.thing"] = "1";

    EXPECT_EQ(reader.flag("thing"), std::nullopt);
    EXPECT_THAT(config.reads(), ::testing::ElementsAre(key));
}

TEST_F(OptionReaderTest, TextIsTakenAsItIs) {
    config.values[key] = " a b ";

    EXPECT_EQ(reader.text("thing"), " a b ");
}

TEST_F(OptionReaderTest, FlagsHaveFiveWordsEach) {
    for (const char* const word : {"1", "on", "true", "yes", "enabled"}) {
        config.values[key] = word;
        EXPECT_EQ(reader.flag("thing"), true) << word;
    }
    for (const char* const word : {"0", "off", "false", "no", "disabled"}) {
        config.values[key] = word;
        EXPECT_EQ(reader.flag("thing"), false) << word;
    }
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(OptionReaderTest, OtherWordsAreNoFlagAndNamedOnce) {
    for (const char* const word : {"2", "On", "TRUE", "y", " 1", "enable"}) {
        config.values[key] = word;
        const CapturedLog own;
        EXPECT_EQ(reader.flag("thing"), std::nullopt) << word;
        EXPECT_THAT(own.text(), HasSubstr("WARNING"));
        EXPECT_THAT(
            own.text(),
            HasSubstr(std::string{"event=bad_option option=thing value="} + word +
                      " expected=1, on, true, yes, enabled or 0, off, false, no, disabled"));
    }
}

TEST_F(OptionReaderTest, NumbersWithinTheirRangeAreTaken) {
    for (const auto& [text, value] :
         {std::pair{"1", 1U}, {"9", 9U}, {"0005", 5U}, {"00000000000000000005", 5U}}) {
        config.values[key] = text;
        EXPECT_EQ(reader.number("thing", {1, 9}), value) << text;
    }
    config.values[key] = "4294967295";
    EXPECT_EQ(reader.number("thing", {0, 4294967295U}), 4294967295U);
    config.values[key] = "0000";
    EXPECT_EQ(reader.number("thing", {0, 9}), 0U);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(OptionReaderTest, OtherTextsAreNoNumber) {
    for (const char* const text : {"0", "10", "-1", "+1", "1.0", "0x1", "1s", " 1", "1 ", "one",
                                   "4294967297", "18446744073709551617"}) {
        config.values[key] = text;
        const CapturedLog own;
        EXPECT_EQ(reader.number("thing", {1, 9}), std::nullopt) << text;
        EXPECT_THAT(own.text(), HasSubstr(std::string{"option=thing value="} + text +
                                          " expected=a number from 1 to 9"));
    }
}

TEST_F(OptionReaderTest, ChoiceIsOneOfItsWords) {
    config.values[key] = "b";
    EXPECT_EQ(reader.choice<int>("thing", {{"a", 1}, {"b", 2}}), 2);
    EXPECT_THAT(log.text(), IsEmpty());

    config.values[key] = "B";
    EXPECT_EQ(reader.choice<int>("thing", {{"a", 1}, {"b", 2}}), std::nullopt);
    EXPECT_THAT(log.text(),
                HasSubstr("event=bad_option option=thing value=B expected=one of a, b"));
}

}  // namespace
}  // namespace zephran
