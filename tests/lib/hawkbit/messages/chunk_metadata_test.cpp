// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hawkbit/messages/deployment_action.h"
#include "json_errors.h"
#include "support/message_builder.h"

namespace zephran::hawkbit {
namespace {

using ::testing::ElementsAre;
using ::testing::FieldsAre;
using ::testing::IsEmpty;

DeploymentActionMessage::Chunk chunk_with(const std::string& metadata) {
    auto document = parse(R"({"part": "os", "version": "1", "name": "n", "artifacts": []})");
    document["metadata"] = parse(metadata);
    DeploymentActionMessage::Chunk chunk;
    chunk.from_json(document);
    return chunk;
}

TEST(ChunkMetadata, AreReadInTheServersOrder) {
    const auto chunk =
        chunk_with(R"([{"key": "b", "value": "second\nline"}, {"key": "a", "value": ""}])");

    EXPECT_THAT(chunk.notes(), ElementsAre(FieldsAre("b", "second\nline"), FieldsAre("a", "")));
}

TEST(ChunkMetadata, MayBeAbsentOrNull) {
    DeploymentActionMessage::Chunk chunk;
    chunk.from_json(parse(R"({"part": "os", "version": "1", "name": "n", "artifacts": []})"));

    EXPECT_THAT(chunk.notes(), IsEmpty());
    EXPECT_THAT(chunk_with("null").notes(), IsEmpty());
}

TEST(ChunkMetadata, WhatIsNoPairOfTextsIsLeftOut) {
    const auto chunk = chunk_with(R"([null, 1, "text", [], {}, {"key": "k"}, {"value": "v"},
                                      {"key": 1, "value": "v"}, {"key": "k", "value": null},
                                      {"key": "good", "value": "one", "more": 1}])");

    EXPECT_THAT(chunk.notes(), ElementsAre(FieldsAre("good", "one")));
}

TEST(ChunkMetadata, WhatIsNoListIsLeftOut) {
    for (const auto* metadata :
         {R"("text")", "1", "true", R"({"x": {"key": "k", "value": "v"}})"}) {
        EXPECT_THAT(chunk_with(metadata).notes(), IsEmpty()) << metadata;
    }
}

TEST(ChunkMetadata, WhatIsLeftOutIsCounted) {
    EXPECT_EQ(chunk_with(R"([1, {"key": "k"}, {"key": "k", "value": "v"}])").notes_left_out(), 2U);
    EXPECT_EQ(chunk_with(R"("text")").notes_left_out(), 1U);
    EXPECT_EQ(chunk_with("null").notes_left_out(), 0U);
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

/// A deployment of one chunk for each of these.
DeploymentActionMessage deployment_with(const std::vector<Pairs>& metadata) {
    test::DeploymentText text;
    for (const auto& pairs : metadata) {
        text.chunks.push_back({"os", "n", "1", {}, pairs});
    }
    return test::deployment_from(text);
}

TEST(ChunkMetadata, ThatAreTooLongTogetherAreLeftOutAsAWhole) {
    const std::string half(DeploymentActionMessage::most_note_bytes / 2, 'x');

    const auto action = deployment_with({{{"1", half}, {"2", half}}, {{"3", "short"}}});

    EXPECT_THAT(action.chunks()[0].notes(), ElementsAre(FieldsAre("1", half)));
    EXPECT_THAT(action.chunks()[1].notes(), ElementsAre(FieldsAre("3", "short")));
    EXPECT_EQ(action.notes_left_out(), 1U);
}

TEST(ChunkMetadata, AreBoundedAsTheManualSays) {
    EXPECT_EQ(DeploymentActionMessage::most_note_bytes, 64U * 1024U);
    EXPECT_EQ(DeploymentActionMessage::most_notes, 1000U);
}

TEST(ChunkMetadata, ThatJustFitAreKept) {
    const std::string most(DeploymentActionMessage::most_note_bytes - 1, 'x');

    const auto action = deployment_with({{{"k", most}, {"", "y"}}});

    EXPECT_THAT(action.chunks()[0].notes(), ElementsAre(FieldsAre("k", most)));
}

TEST(ChunkMetadata, ThatAreTooManyTogetherAreLeftOutHoweverShort) {
    constexpr auto most = DeploymentActionMessage::most_notes;

    const auto action = deployment_with({Pairs(most - 1), Pairs(most)});

    EXPECT_EQ(action.chunks()[0].notes().size(), most - 1);
    EXPECT_EQ(action.chunks()[1].notes().size(), 1U);
    EXPECT_EQ(action.notes_left_out(), most - 1);
}

TEST(ChunkMetadata, SecondReadingReplacesTheFirst) {
    auto chunk = chunk_with(R"([{"key": "k", "value": "v"}])");
    chunk.from_json(parse(R"({"part": "os", "version": "1", "name": "n", "artifacts": []})"));

    EXPECT_THAT(chunk.notes(), IsEmpty());
    EXPECT_EQ(chunk.notes_left_out(), 0U);
}

}  // namespace
}  // namespace zephran::hawkbit
