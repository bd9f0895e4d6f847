// SPDX-License-Identifier: Apache-2.0
#include "deployment/action_message.h"

#include <sstream>
#include <vector>

#include <boost/exception/diagnostic_information.hpp>
#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

namespace zephran {
namespace {

const std::vector<std::pair<ActionMessage, std::string>> all_messages{
    {ActionMessage::ChunkDeployed, "Chunk deployed"},
    {ActionMessage::DeploymentNotRunning, "Deployment not running. Nothing to do."},
    {ActionMessage::DeploymentRejected, "Deployment rejected through user intervention"},
    {ActionMessage::DeploymentSuccessful, "Deployment successful"},
    {ActionMessage::InstallationStarted, "Installation started"},
    {ActionMessage::NowWaiting, "Now waiting"},
    {ActionMessage::FinishedWaiting, "Finished waiting"}};

TEST(ActionMessageText, EveryMessageIsWrittenAndReadBack) {
    for (std::size_t i = 0; i < all_messages.size(); ++i) {
        const auto& [message, text] = all_messages[i];

        EXPECT_EQ(static_cast<std::size_t>(message), i);
        EXPECT_EQ(to_string(message), text);
        EXPECT_EQ(boost::lexical_cast<std::string>(message), text);
        EXPECT_EQ(boost::lexical_cast<ActionMessage>(text), message);
        EXPECT_EQ(find_action_message(text), message);
    }
}

TEST(ActionMessageText, ValueWithoutATextIsRefused) {
    const auto unknown = static_cast<ActionMessage>(7);
    std::ostringstream stream;

    try {
        stream << unknown;
        FAIL() << "no exception";
    } catch (const UnsupportedActionMessageException& error) {
        EXPECT_STREQ(error.what(), "Unsupported action message");
        const auto* const value = boost::get_error_info<action_message_tag>(error);
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(*value, static_cast<int>(unknown));
        EXPECT_NE(boost::diagnostic_information(error), "");
    }
    EXPECT_EQ(stream.str(), "");
    EXPECT_THROW(to_string(unknown), UnsupportedActionMessageException);
}

TEST(ActionMessageText, OtherTextsAreRefusedAndNamed) {
    for (const std::string text :
         {"now waiting", "Now waiting ", "Now waiting\n", " Now waiting", "Now", ""}) {
        std::istringstream stream{text};
        auto message = ActionMessage::DeploymentSuccessful;

        try {
            stream >> message;
            FAIL() << text;
        } catch (const UnsupportedActionMessageException& error) {
            const auto* const named = boost::get_error_info<action_message_string_tag>(error);
            ASSERT_NE(named, nullptr);
            EXPECT_EQ(*named, text);
        }
        EXPECT_EQ(message, ActionMessage::DeploymentSuccessful);
        EXPECT_EQ(find_action_message(text), std::nullopt);
    }
}

TEST(ActionMessageText, ReadsUpToANullCharacter) {
    std::istringstream stream{std::string("Now waiting\0more", 16)};
    auto message = ActionMessage::ChunkDeployed;

    stream >> message;

    EXPECT_EQ(message, ActionMessage::NowWaiting);
}

}  // namespace
}  // namespace zephran
