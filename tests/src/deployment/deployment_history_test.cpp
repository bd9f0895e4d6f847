// SPDX-License-Identifier: Apache-2.0
#include "deployment/deployment_history.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/message_builder.h"

namespace zephran::test {
namespace {

using deployment_history::ActionHistory;
using deployment_history::Chunk;

constexpr const char* server_note = "Assignment initiated by user 'admin'";

ActionHistory history(const std::vector<std::string>& messages) {
    return deployment_from({"7", {}, "forced", messages}).action_history();
}

std::vector<Chunk> two_chunks() {
    return deployment_from({"7", {{"os", "firmware", "2.1.0", {}}, {"script", "tidy", "3:1", {}}}})
        .chunks();
}

bool ends_with_installation_started(const std::vector<std::string>& messages) {
    return deployment_history::ends_with_installation_started(history(messages), two_chunks());
}

TEST(DeploymentHistory, OwnReportIsFoundAnywhere) {
    EXPECT_TRUE(deployment_history::holds_own_report(history({"Installation started"})));
    EXPECT_TRUE(
        deployment_history::holds_own_report(history({server_note, "x", "Chunk deployed"})));
}

TEST(DeploymentHistory, HistoryOfServerNotesIsThatOfANewAction) {
    EXPECT_FALSE(deployment_history::holds_own_report(history({})));
    EXPECT_FALSE(deployment_history::holds_own_report(history({server_note})));
    EXPECT_FALSE(deployment_history::holds_own_report(history({"installation started", ""})));
}

TEST(DeploymentHistory, StartOfAnInstallationOnTopIsAnInterruption) {
    EXPECT_TRUE(ends_with_installation_started({"Installation started", "os:firmware:2.1.0"}));
    EXPECT_TRUE(ends_with_installation_started({"Installation started"}));
    EXPECT_TRUE(ends_with_installation_started({"Installation started", server_note}));
}

TEST(DeploymentHistory, DetailsOfTheStartMayBeSwapped) {
    EXPECT_TRUE(ends_with_installation_started({"os:firmware:2.1.0", "Installation started"}));
    EXPECT_TRUE(ends_with_installation_started({"script:tidy:3:1", "Installation started"}));
}

TEST(DeploymentHistory, AnyOtherNewestReportIsNoInterruption) {
    EXPECT_FALSE(ends_with_installation_started({}));
    EXPECT_FALSE(ends_with_installation_started({server_note}));
    EXPECT_FALSE(ends_with_installation_started({server_note, "Installation started"}));
    EXPECT_FALSE(ends_with_installation_started({"Chunk deployed", "Installation started"}));
    EXPECT_FALSE(ends_with_installation_started({"os:firmware:2.1.0"}));
    EXPECT_FALSE(ends_with_installation_started({"os:firmware:9", "Installation started"}));
    EXPECT_FALSE(
        ends_with_installation_started({"os:firmware:2.1.0", "x", "Installation started"}));
}

TEST(DeploymentHistory, UnknownTextAboveAnOwnOneIsNoticed) {
    EXPECT_TRUE(deployment_history::has_unknown_message_on_top(
        history({"Installation cannot be cancelled", "Installation started"})));
    EXPECT_FALSE(deployment_history::has_unknown_message_on_top(
        history({"Installation started", "Installation cannot be cancelled"})));
    EXPECT_FALSE(deployment_history::has_unknown_message_on_top(history({server_note})));
    EXPECT_FALSE(deployment_history::has_unknown_message_on_top(history({})));
}

TEST(DeploymentHistory, InterruptedChunkStandsBesideTheStart) {
    EXPECT_EQ(deployment_history::interrupted_chunk_string(
                  history({"Installation started", "os:firmware:2.1.0", server_note})),
              "os:firmware:2.1.0");
    EXPECT_EQ(deployment_history::interrupted_chunk_string(
                  history({"os:firmware:2.1.0", "Installation started", server_note})),
              "os:firmware:2.1.0");
}

TEST(DeploymentHistory, HistoryWithoutAnInterruptionIsNamedInTheException) {
    try {
        deployment_history::interrupted_chunk_string(history({"Chunk deployed", "os:a:1"}));
        FAIL() << "a history that ends with a deployed chunk was accepted";
    } catch (const UnsupportedHistoryForResumeException& error) {
        const auto* const message = boost::get_error_info<history_message_tag>(error);
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(*message, "Chunk deployed");
        EXPECT_STREQ(error.what(), "Cannot resume from this action history");
    }
}

TEST(DeploymentHistory, TooShortHistoryIsRefused) {
    EXPECT_THROW(deployment_history::interrupted_chunk_string(history({})),
                 UnsupportedHistoryForResumeException);
    EXPECT_THROW(deployment_history::interrupted_chunk_string(history({"Installation started"})),
                 UnsupportedHistoryForResumeException);
}

/// What is said of a text that names no remaining chunk.
template <class Exception>
std::string refusal(const std::string& text) {
    try {
        static_cast<void>(deployment_history::remaining_chunks(two_chunks(), text));
    } catch (const Exception& error) {
        return error.what();
    }
    return {};
}

TEST(DeploymentHistory, RemainingChunksBeginWithTheInterruptedOne) {
    const auto all = deployment_history::remaining_chunks(two_chunks(), "os:firmware:2.1.0");
    const auto last = deployment_history::remaining_chunks(two_chunks(), "script:tidy:3:1");

    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all.front().name(), "firmware");
    ASSERT_EQ(last.size(), 1U);
    EXPECT_EQ(last.front().name(), "tidy");
}

TEST(DeploymentHistory, ChunkMustMatchInAllThreeParts) {
    for (const char* const text :
         {"os:firmware:2.1", "os:software:2.1.0", "script:firmware:2.1.0", "::"}) {
        EXPECT_EQ(refusal<ChunkNotFoundException>(text), "Cannot find chunk") << text;
    }
}

TEST(DeploymentHistory, ChunkStringNeedsTwoColons) {
    for (const char* const text : {"", "os-firmware", "os:firmware"}) {
        EXPECT_EQ(refusal<InvalidChunkStringFormatException>(text), "Failed to parse chunk string")
            << text;
    }
}

}  // namespace
}  // namespace zephran::test
