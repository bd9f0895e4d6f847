// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/messages/controller_status.h"

#include <gtest/gtest.h>

#include "json_errors.h"

namespace zephran::hawkbit {
namespace {

Json::Value status_with_sleep(const std::string& sleep) {
    Json::Value status;
    status["config"]["polling"]["sleep"] = sleep;
    return status;
}

std::uint64_t seconds_of(const std::string& sleep) {
    ControllerStatusMessage message;
    message.from_json(status_with_sleep(sleep));
    return message.sleep_time();
}

/// The text that the refusal of a sleep time carries.
std::string refused_sleep_time(const std::string& sleep) {
    try {
        seconds_of(sleep);
    } catch (const InvalidSleepTimeFormatException& error) {
        EXPECT_STREQ(error.what(), "Invalid sleep time format");
        const auto* const text = boost::get_error_info<sleep_time_tag>(error);
        return text == nullptr ? "(no text)" : *text;
    }
    return "(no exception)";
}

TEST(ControllerStatus, NewMessageSleepsFiveMinutesAndOffersNothing) {
    const ControllerStatusMessage message;

    EXPECT_EQ(message.sleep_time(), 300U);
    EXPECT_FALSE(message.cancel_action());
    EXPECT_FALSE(message.config_data());
    EXPECT_FALSE(message.deployment_base());
}

TEST(ControllerStatus, NewMessageAsksForAPollAfterFiveMinutes) {
    EXPECT_EQ(ControllerStatusMessage{}.sleep_time(), 300U);
}

TEST(ControllerStatus, FirstFaultInTheOrderOfReadingIsReported) {
    using Message = ControllerStatusMessage;
    auto status = status_with_sleep("bad");
    status["_links"] = "x";
    EXPECT_THROW(Message{}.from_json(status), InvalidSleepTimeFormatException);

    status = status_with_sleep("00:00:30");
    for (const std::string link : {"configData", "deploymentBase", "cancelAction"}) {
        status["_links"][link] = "x";
        EXPECT_EQ(mistyped_key<Message>(status), link);
    }
}

TEST(ControllerStatus, SleepTimeIsInSeconds) {
    EXPECT_EQ(seconds_of("00:05:00"), 300U);
    EXPECT_EQ(seconds_of("12:00:00"), 43'200U);
    EXPECT_EQ(seconds_of("00:00:00"), 0U);
    EXPECT_EQ(seconds_of("08:09:07"), 29'347U);
    EXPECT_EQ(seconds_of("99:99:99"), 362'439U);
}

TEST(ControllerStatus, SleepTimeIsNotCheckedForItsRange) {
    EXPECT_EQ(seconds_of("00:99:99"), 6039U);
}

TEST(ControllerStatus, FirstSleepTimeInTheTextCounts) {
    EXPECT_EQ(seconds_of("about 10:00:00 or so"), 36'000U);
    EXPECT_EQ(seconds_of("00:00:01 00:00:02"), 1U);
    EXPECT_EQ(seconds_of("100:00:07"), 7U);
}

TEST(ControllerStatus, OtherSleepTimesAreRefused) {
    EXPECT_EQ(refused_sleep_time("1:00:00"), "1:00:00");
    EXPECT_EQ(refused_sleep_time(""), "");
    EXPECT_EQ(refused_sleep_time("00:05"), "00:05");
    EXPECT_EQ(refused_sleep_time("PT5M"), "PT5M");
}

TEST(ControllerStatus, StatusWithoutLinksIsValid) {
    ControllerStatusMessage message;

    message.from_json(status_with_sleep("00:05:00"));

    EXPECT_FALSE(message.cancel_action());
    EXPECT_FALSE(message.config_data());
    EXPECT_FALSE(message.deployment_base());
}

TEST(ControllerStatus, LinksAreRead) {
    ControllerStatusMessage message;
    auto status = status_with_sleep("00:00:30");
    status["_links"]["cancelAction"]["href"] = "https://h/c/1";
    status["_links"]["deploymentBase"]["href"] = "https://h/d/2?c=-5";
    status["_links"]["configData"]["href"] = "https://h/configData";
    status["_links"]["installedBase"] = 7;

    message.from_json(status);

    ASSERT_TRUE(message.cancel_action());
    EXPECT_EQ(message.cancel_action()->str(), "https://h/c/1");
    ASSERT_TRUE(message.deployment_base());
    EXPECT_EQ(message.deployment_base()->str(), "https://h/d/2?c=-5");
    ASSERT_TRUE(message.config_data());
    EXPECT_EQ(message.config_data()->str(), "https://h/configData");
}

TEST(ControllerStatus, NullLinksCountAsAbsent) {
    ControllerStatusMessage message;
    auto status = status_with_sleep("00:00:30");
    status["_links"]["cancelAction"] = Json::Value{};

    message.from_json(status);

    EXPECT_FALSE(message.cancel_action());
}

TEST(ControllerStatus, ReadingAgainReplacesEverything) {
    ControllerStatusMessage message;
    auto status = status_with_sleep("00:00:30");
    status["_links"]["cancelAction"]["href"] = "https://h/c/1";
    message.from_json(status);

    message.from_json(status_with_sleep("00:00:40"));

    EXPECT_FALSE(message.cancel_action());
    EXPECT_EQ(message.sleep_time(), 40U);
}

TEST(ControllerStatus, FailedReadingForgetsTheEarlierDocument) {
    ControllerStatusMessage message;
    auto status = status_with_sleep("00:00:30");
    status["_links"]["cancelAction"]["href"] = "https://h/c/1";
    message.from_json(status);

    EXPECT_THROW(message.from_json(parse("{}")), common::MissingValueException);

    EXPECT_EQ(message.sleep_time(), 300U);
    EXPECT_FALSE(message.cancel_action());
}

TEST(ControllerStatus, MissingMembersAreNamed) {
    using Message = ControllerStatusMessage;
    EXPECT_EQ(missing_key<Message>(parse("{}")), "config");
    EXPECT_EQ(missing_key<Message>(parse(R"({"config": {}})")), "polling");
    EXPECT_EQ(missing_key<Message>(parse(R"({"config": {"polling": {}}})")), "sleep");
    for (const std::string link : {"cancelAction", "deploymentBase", "configData"}) {
        auto status = status_with_sleep("00:00:30");
        status["_links"][link] = Json::Value{Json::objectValue};
        EXPECT_EQ(missing_key<Message>(status), "href") << link;
    }
}

TEST(ControllerStatus, MembersOfAnotherTypeAreNamed) {
    using Message = ControllerStatusMessage;
    EXPECT_EQ(mistyped_key<Message>(parse(R"({"config": 1})")), "config");
    EXPECT_EQ(mistyped_key<Message>(parse(R"({"config": {"polling": "x"}})")), "polling");
    EXPECT_EQ(mistyped_key<Message>(parse(R"({"config": {"polling": {"sleep": 300}}})")), "sleep");
    auto status = status_with_sleep("00:00:30");
    status["_links"] = "x";
    EXPECT_EQ(mistyped_key<Message>(status), "_links");
    for (const std::string link : {"cancelAction", "deploymentBase", "configData"}) {
        status["_links"] = Json::Value{Json::objectValue};
        status["_links"][link] = "x";
        EXPECT_EQ(mistyped_key<Message>(status), link);
        status["_links"][link] = Json::Value{Json::objectValue};
        status["_links"][link]["href"] = 1;
        EXPECT_EQ(mistyped_key<Message>(status), "href") << link;
    }
}

}  // namespace
}  // namespace zephran::hawkbit
