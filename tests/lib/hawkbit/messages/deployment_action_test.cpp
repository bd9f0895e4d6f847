// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/messages/deployment_action.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deployment_documents.h"
#include "json_errors.h"

namespace zephran::hawkbit {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Message = DeploymentActionMessage;
using Artifact = DeploymentActionMessage::Artifact;
using Chunk = DeploymentActionMessage::Chunk;
using History = DeploymentActionMessage::ActionHistory;

TEST(DeploymentAction, ReadsEverything) {
    const auto message = read<Message>(deployment_document());

    EXPECT_EQ(message.id(), "3");
    EXPECT_EQ(message.download(), "forced");
    EXPECT_TRUE(message.forced());
    EXPECT_EQ(message.action_history().status(), ActionStatus::RETRIEVED);
    EXPECT_THAT(message.action_history().messages(), ElementsAre("newest", "oldest"));
    ASSERT_EQ(message.chunks().size(), 1U);
    const auto& chunk = message.chunks()[0];
    EXPECT_EQ(chunk.part(), "os");
    EXPECT_EQ(chunk.version(), "2.1");
    EXPECT_EQ(chunk.name(), "firmware");
    EXPECT_EQ(chunk_string(chunk), "os:firmware:2.1");
    ASSERT_EQ(chunk.artifacts().size(), 1U);
    const auto& artifact = chunk.artifacts()[0];
    EXPECT_EQ(artifact.filename(), "fw.bin");
    EXPECT_THAT(artifact.md5(), ElementsAre(0x0d, 0x1b, 0x08));
    EXPECT_THAT(artifact.sha1(), ElementsAre(0x2d, 0x86));
    EXPECT_EQ(artifact.size(), 3);
    EXPECT_EQ(artifact.download().str(), "https://h/fw.bin");
    EXPECT_EQ(artifact.download_http().str(), "http://h/fw.bin");
    EXPECT_EQ(artifact.md5sum().str(), "https://h/fw.bin.MD5SUM");
    EXPECT_EQ(artifact.md5sum_http().str(), "http://h/fw.bin.MD5SUM");
}

TEST(DeploymentAction, NewMessageIsForcedAndEmpty) {
    const Message message;

    EXPECT_TRUE(message.forced());
    EXPECT_EQ(message.id(), "");
    EXPECT_EQ(message.download(), "");
    EXPECT_THAT(message.chunks(), IsEmpty());
    EXPECT_THAT(message.action_history().messages(), IsEmpty());
}

TEST(DeploymentAction, NewPartsAreEmpty) {
    EXPECT_EQ(Message::Artifact{}.size(), 0);
    EXPECT_EQ(Message::Chunk{}.notes_left_out(), 0U);
}

TEST(DeploymentAction, AttemptIsNotForced) {
    auto document = deployment_document();
    document["deployment"]["update"] = "attempt";

    EXPECT_FALSE(read<Message>(document).forced());
}

TEST(DeploymentAction, OtherUpdatesAreRefused) {
    for (const std::string update : {"skip", "", "Forced", "forced "}) {
        auto document = deployment_document();
        document["deployment"]["update"] = update;

        try {
            read<Message>(document);
            FAIL() << update;
        } catch (const InvalidUpdateTypeException& error) {
            EXPECT_STREQ(error.what(), "Invalid update type");
        }
    }
}

TEST(DeploymentAction, AnyDownloadIsKeptAsReceived) {
    auto document = deployment_document();
    document["deployment"]["download"] = "skip";

    EXPECT_EQ(read<Message>(document).download(), "skip");
}

TEST(DeploymentAction, HistoryMayBeAbsentOrNull) {
    const auto absent = read<Message>(without(deployment_document(), "actionHistory"));
    const auto null = read<Message>(with(deployment_document(), "actionHistory", Json::Value{}));

    EXPECT_THAT(absent.action_history().messages(), IsEmpty());
    EXPECT_THAT(null.action_history().messages(), IsEmpty());
}

TEST(DeploymentAction, ReadingAgainReplacesEverything) {
    Message message;
    message.from_json(deployment_document());
    auto document = without(deployment_document(), "actionHistory");
    document["deployment"]["chunks"] = Json::Value{Json::arrayValue};

    message.from_json(document);

    EXPECT_THAT(message.chunks(), IsEmpty());
    EXPECT_THAT(message.action_history().messages(), IsEmpty());
}

TEST(DeploymentAction, ChunksAndArtifactsKeepTheirOrder) {
    auto document = deployment_document();
    auto& chunks = document["deployment"]["chunks"];
    chunks.append(with(chunk_document(), "name", "second"));
    chunks[0]["artifacts"].append(with(artifact_document(), "filename", "second.bin"));

    const auto message = read<Message>(document);

    ASSERT_EQ(message.chunks().size(), 2U);
    EXPECT_EQ(message.chunks()[0].name(), "firmware");
    EXPECT_EQ(message.chunks()[1].name(), "second");
    ASSERT_EQ(message.chunks()[0].artifacts().size(), 2U);
    EXPECT_EQ(message.chunks()[0].artifacts()[0].filename(), "fw.bin");
    EXPECT_EQ(message.chunks()[0].artifacts()[1].filename(), "second.bin");
}

TEST(DeploymentAction, ChunksCanBeReplaced) {
    auto message = read<Message>(deployment_document());

    message.replace_chunks({});

    EXPECT_THAT(message.chunks(), IsEmpty());
    EXPECT_EQ(message.id(), "3");
}

TEST(DeploymentAction, MissingMembersAreNamed) {
    const auto document = deployment_document();
    EXPECT_EQ(missing_key<Message>(without(document, "id")), "id");
    EXPECT_EQ(missing_key<Message>(without(document, "deployment")), "deployment");
    for (const std::string key : {"download", "update", "chunks"}) {
        const auto deployment = without(document["deployment"], key);
        EXPECT_EQ(missing_key<Message>(with(document, "deployment", deployment)), key);
    }
}

TEST(DeploymentAction, MembersOfAnotherTypeAreNamed) {
    const auto document = deployment_document();
    EXPECT_EQ(mistyped_key<Message>(with(document, "id", 3)), "id");
    EXPECT_EQ(mistyped_key<Message>(with(document, "deployment", "x")), "deployment");
    EXPECT_EQ(mistyped_key<Message>(with(document, "actionHistory", "x")), "actionHistory");
    for (const std::string key : {"download", "update", "chunks"}) {
        const auto deployment = with(document["deployment"], key, 1);
        EXPECT_EQ(mistyped_key<Message>(with(document, "deployment", deployment)), key);
    }
}

TEST(DeploymentAction, FirstFaultInTheOrderOfReadingIsReported) {
    auto document = deployment_document();
    auto& deployment = document["deployment"];
    document["actionHistory"] = "x";
    EXPECT_EQ(mistyped_key<Message>(document), "actionHistory");
    deployment["chunks"] = "x";
    EXPECT_EQ(mistyped_key<Message>(document), "chunks");
    deployment["update"] = "skip";
    EXPECT_THROW(read<Message>(document), InvalidUpdateTypeException);
    deployment["update"] = 1;
    EXPECT_EQ(mistyped_key<Message>(document), "update");
    deployment["download"] = 1;
    EXPECT_EQ(mistyped_key<Message>(document), "download");
    document["deployment"] = "x";
    EXPECT_EQ(mistyped_key<Message>(document), "deployment");
    document["id"] = 1;
    EXPECT_EQ(mistyped_key<Message>(document), "id");
}

TEST(DeploymentAction, NullElementsAreReadLikeObjectsWithoutMembers) {
    auto document = deployment_document();
    document["deployment"]["chunks"].append(Json::Value{});
    auto chunk = chunk_document();
    chunk["artifacts"].append(Json::Value{});

    EXPECT_EQ(missing_key<Message>(document), "part");
    EXPECT_EQ(missing_key<Chunk>(chunk), "filename");
}

TEST(DeploymentAction, NonObjectElementsAreReportedUnderTheirArray) {
    for (const auto& element :
         {Json::Value{1}, Json::Value{"x"}, Json::Value{true}, Json::Value{Json::arrayValue}}) {
        auto document = deployment_document();
        document["deployment"]["chunks"].append(element);
        auto chunk = chunk_document();
        chunk["artifacts"].append(element);

        EXPECT_EQ(mistyped_key<Message>(document), "chunks");
        EXPECT_EQ(mistyped_key<Chunk>(chunk), "artifacts");
    }
}

TEST(DeploymentChunk, MayHaveNoArtifacts) {
    const auto chunk =
        read<Chunk>(with(chunk_document(), "artifacts", Json::Value{Json::arrayValue}));

    EXPECT_THAT(chunk.artifacts(), IsEmpty());
}

TEST(DeploymentChunk, EveryMemberIsRequiredAndOfItsType) {
    for (const std::string key : {"part", "version", "name", "artifacts"}) {
        EXPECT_EQ(missing_key<Chunk>(without(chunk_document(), key)), key);
        EXPECT_EQ(mistyped_key<Chunk>(with(chunk_document(), key, 1)), key);
    }
}

TEST(DeploymentChunk, FirstFaultInTheOrderOfReadingIsReported) {
    auto document = chunk_document();
    for (const std::string key : {"artifacts", "name", "version", "part"}) {
        document[key] = 1;
        EXPECT_EQ(mistyped_key<Chunk>(document), key);
    }
}

TEST(ActionHistory, EveryStatusWordIsRead) {
    const std::vector<std::pair<std::string, ActionStatus>> words{
        {"CANCELED", ActionStatus::CANCELED},
        {"CANCELING", ActionStatus::CANCELING},
        {"CANCEL_REJECTED", ActionStatus::CANCEL_REJECTED},
        {"DOWNLOAD", ActionStatus::DOWNLOAD},
        {"ERROR", ActionStatus::ERROR},
        {"FINISHED", ActionStatus::FINISHED},
        {"RETRIEVED", ActionStatus::RETRIEVED},
        {"RUNNING", ActionStatus::RUNNING},
        {"SCHEDULED", ActionStatus::SCHEDULED},
        {"WARNING", ActionStatus::WARNING}};

    for (const auto& [word, status] : words) {
        auto document = parse(R"({"messages": []})");
        document["status"] = word;

        EXPECT_EQ(read<History>(document).status(), status) << word;
    }
}

TEST(ActionHistory, OtherStatusWordsAreRefused) {
    for (const std::string word : {"finished", "", "DOWNLOADED", "RUNNING "}) {
        auto document = parse(R"({"messages": []})");
        document["status"] = word;

        try {
            read<History>(document);
            FAIL() << word;
        } catch (const InvalidActionStatusException& error) {
            EXPECT_STREQ(error.what(), "Invalid actions status");
        }
    }
}

TEST(ActionHistory, EveryMemberIsRequiredAndOfItsType) {
    const auto document = parse(R"({"status": "RUNNING", "messages": ["a"]})");
    for (const std::string key : {"status", "messages"}) {
        EXPECT_EQ(missing_key<History>(without(document, key)), key);
        EXPECT_EQ(mistyped_key<History>(with(document, key, 1)), key);
    }
}

TEST(ActionHistory, StatusIsReadBeforeTheMessages) {
    const auto document = parse(R"({"status": "odd", "messages": 1})");

    EXPECT_THROW(read<History>(document), InvalidActionStatusException);
}

TEST(ActionHistory, SecondReadingReplacesTheFirst) {
    History history;
    history.from_json(parse(R"({"status": "RUNNING", "messages": ["a"]})"));

    history.from_json(parse(R"({"status": "RUNNING", "messages": ["b"]})"));

    EXPECT_THAT(history.messages(), ElementsAre("b"));
}

TEST(ActionHistory, NullMessageIsAnEmptyText) {
    const auto document = parse(R"({"status": "RUNNING", "messages": ["a", null]})");

    EXPECT_THAT(read<History>(document).messages(), ElementsAre("a", ""));
}

TEST(ActionHistory, NonStringMessagesAreReportedUnderTheirArray) {
    for (const std::string element : {"1", "true", "{}", "[]"}) {
        const auto document = parse(R"({"status": "RUNNING", "messages": ["a", )" + element + "]}");

        EXPECT_EQ(mistyped_key<History>(document), "messages") << element;
    }
}

TEST(DeploymentAction, ChoiceOfTheSumReachesEveryArtifact) {
    Message message;
    message.from_json(deployment_document(), Digest::sha256);

    EXPECT_THAT(message.chunks().front().artifacts().front().sha256(), ElementsAre(0xa0));
}

}  // namespace
}  // namespace zephran::hawkbit
