// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/messages/deployment_action.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "json_errors.h"

namespace zephran::hawkbit {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Message = DeploymentActionMessage;
using Artifact = DeploymentActionMessage::Artifact;
using Chunk = DeploymentActionMessage::Chunk;
using History = DeploymentActionMessage::ActionHistory;

Json::Value artifact_document() {
    return parse(R"({
        "filename": "fw.bin",
        "hashes": {"sha1": "2d86", "md5": "0d1b08", "sha256": "a0"},
        "size": 3,
        "_links": {"download": {"href": "https://h/fw.bin"},
                   "download-http": {"href": "http://h/fw.bin"},
                   "md5sum": {"href": "https://h/fw.bin.MD5SUM"},
                   "md5sum-http": {"href": "http://h/fw.bin.MD5SUM"}}})");
}

Json::Value chunk_document() {
    auto chunk = parse(R"({"part": "os", "version": "2.1", "name": "firmware", "artifacts": []})");
    chunk["artifacts"].append(artifact_document());
    return chunk;
}

Json::Value deployment_document() {
    auto document = parse(R"({
        "id": "3",
        "deployment": {"download": "forced", "update": "forced", "chunks": []},
        "actionHistory": {"status": "RETRIEVED", "messages": ["newest", "oldest"]}})");
    document["deployment"]["chunks"].append(chunk_document());
    return document;
}

template <class Type>
Type read(const Json::Value& document) {
    Type message;
    message.from_json(document);
    return message;
}

/// A document without one of its members.
Json::Value without(Json::Value document, const std::string& key) {
    document.removeMember(key);
    return document;
}

/// A document with another value for one of its members.
Json::Value with(Json::Value document, const std::string& key, const Json::Value& value) {
    document[key] = value;
    return document;
}

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

TEST(DeploymentArtifact, FirstFaultInTheOrderOfReadingIsReported) {
    auto document = artifact_document();
    for (const std::string link : {"md5sum-http", "md5sum", "download-http", "download"}) {
        document["_links"][link] = Json::Value{Json::objectValue};
        document["_links"][link]["href"] = 1;
        EXPECT_EQ(mistyped_key<Artifact>(document), "href");
        document["_links"][link] = "x";
        EXPECT_EQ(mistyped_key<Artifact>(document), link);
    }
    document["_links"] = "x";
    EXPECT_EQ(mistyped_key<Artifact>(document), "_links");
    document["size"] = "x";
    EXPECT_EQ(mistyped_key<Artifact>(document), "size");
    for (const std::string hash : {"sha1", "md5"}) {
        document["hashes"][hash] = 1;
        EXPECT_EQ(mistyped_key<Artifact>(document), hash);
    }
    document["hashes"] = "x";
    EXPECT_EQ(mistyped_key<Artifact>(document), "hashes");
    document["filename"] = 1;
    EXPECT_EQ(mistyped_key<Artifact>(document), "filename");
}

TEST(DeploymentArtifact, FirstLinkOfAPairIsReadBeforeTheSecondIsLookedAt) {
    for (const std::string name : {"download", "md5sum"}) {
        auto document = artifact_document();
        document["_links"][name] = Json::Value{Json::objectValue};
        document["_links"][name + "-http"] = "x";

        EXPECT_EQ(missing_key<Artifact>(document), "href") << name;
    }
}

TEST(DeploymentArtifact, PairWithoutLinksIsReportedBeforeTheNextPairIsLookedAt) {
    auto document = artifact_document();
    document["_links"].removeMember("download");
    document["_links"].removeMember("download-http");
    document["_links"]["md5sum"] = "x";

    EXPECT_EQ(missing_key<Artifact>(document), "download or download-http");
}

TEST(DeploymentArtifact, HttpLinksAloneAreEnough) {
    auto document = artifact_document();
    document["_links"].removeMember("download");
    document["_links"].removeMember("md5sum");

    const auto artifact = read<Artifact>(document);

    EXPECT_TRUE(artifact.download().empty());
    EXPECT_TRUE(artifact.md5sum().empty());
    EXPECT_EQ(artifact.download_http().str(), "http://h/fw.bin");
    EXPECT_EQ(artifact.md5sum_http().str(), "http://h/fw.bin.MD5SUM");
}

TEST(DeploymentArtifact, SecureLinksAloneAreEnough) {
    auto document = artifact_document();
    document["_links"].removeMember("download-http");
    document["_links"].removeMember("md5sum-http");

    const auto artifact = read<Artifact>(document);

    EXPECT_EQ(artifact.download().str(), "https://h/fw.bin");
    EXPECT_EQ(artifact.md5sum().str(), "https://h/fw.bin.MD5SUM");
    EXPECT_TRUE(artifact.download_http().empty());
    EXPECT_TRUE(artifact.md5sum_http().empty());
}

TEST(DeploymentArtifact, OneLinkOfEachPairIsRequired) {
    for (const std::string name : {"download", "md5sum"}) {
        auto document = artifact_document();
        document["_links"].removeMember(name);
        document["_links"].removeMember(name + "-http");

        EXPECT_EQ(missing_key<Artifact>(document), name + " or " + name + "-http");
    }
}

TEST(DeploymentArtifact, EveryLinkThatIsThereNeedsAnAddress) {
    for (const std::string name : {"download", "download-http", "md5sum", "md5sum-http"}) {
        auto document = artifact_document();
        document["_links"][name] = Json::Value{Json::objectValue};
        EXPECT_EQ(missing_key<Artifact>(document), "href") << name;

        document["_links"][name]["href"] = 1;
        EXPECT_EQ(mistyped_key<Artifact>(document), "href") << name;

        document["_links"][name] = "https://h/";
        EXPECT_EQ(mistyped_key<Artifact>(document), name);
    }
}

TEST(DeploymentArtifact, EveryMemberIsRequiredAndOfItsType) {
    const auto document = artifact_document();
    for (const std::string key : {"filename", "hashes", "size", "_links"}) {
        EXPECT_EQ(missing_key<Artifact>(without(document, key)), key);
        EXPECT_EQ(mistyped_key<Artifact>(with(document, key, true)), key);
    }
    for (const std::string key : {"md5", "sha1"}) {
        EXPECT_EQ(missing_key<Artifact>(with(document, "hashes", without(document["hashes"], key))),
                  key);
        EXPECT_EQ(
            mistyped_key<Artifact>(with(document, "hashes", with(document["hashes"], key, 1))),
            key);
    }
}

TEST(DeploymentArtifact, SizeIsASigned32BitInteger) {
    const auto document = artifact_document();
    EXPECT_EQ(read<Artifact>(with(document, "size", parse("[2147483647]")[0])).size(),
              std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(read<Artifact>(with(document, "size", parse("[-2147483648]")[0])).size(),
              std::numeric_limits<std::int32_t>::min());
    for (const std::string size : {"2147483648", "-2147483649", "9223372036854775807",
                                   "9223372036854775808", "3.0", "1e3", "\"3\""}) {
        EXPECT_EQ(mistyped_key<Artifact>(with(document, "size", parse("[" + size + "]")[0])),
                  "size")
            << size;
    }
}

/// What the refusal of a size says of its type.
std::pair<Json::ValueType, Json::ValueType> types_of_refused_size(const std::string& size) {
    try {
        read<Artifact>(with(artifact_document(), "size", parse("[" + size + "]")[0]));
    } catch (const common::UnexpectedTypeException& error) {
        const auto* const found = boost::get_error_info<common::found_type_tag>(error);
        const auto* const expected = boost::get_error_info<common::expected_type_tag>(error);
        if (found != nullptr && expected != nullptr) {
            return {*found, *expected};
        }
    }
    return {Json::nullValue, Json::nullValue};
}

TEST(DeploymentArtifact, RefusedSizeHasTheTypeThatItHasToAReaderOf32Bits) {
    const std::pair unsigned_for_int{Json::uintValue, Json::intValue};
    const std::pair real_for_int{Json::realValue, Json::intValue};

    EXPECT_EQ(types_of_refused_size("2147483648"), unsigned_for_int);
    EXPECT_EQ(types_of_refused_size("4294967295"), unsigned_for_int);
    EXPECT_EQ(types_of_refused_size("4294967296"), real_for_int);
    EXPECT_EQ(types_of_refused_size("-2147483649"), real_for_int);
    EXPECT_EQ(types_of_refused_size("9223372036854775808"), unsigned_for_int);
    EXPECT_EQ(types_of_refused_size("1.5"), real_for_int);
}

TEST(DeploymentArtifact, HashesAreReadFromHexadecimalText) {
    EXPECT_THAT(Artifact::hash_from_string(""), IsEmpty());
    EXPECT_THAT(Artifact::hash_from_string("a"), IsEmpty());
    EXPECT_THAT(Artifact::hash_from_string("abc"), ElementsAre(0xab));
    EXPECT_THAT(Artifact::hash_from_string("00fFA9"), ElementsAre(0x00, 0xff, 0xa9));
}

TEST(DeploymentArtifact, HashDigitsAreNotChecked) {
    EXPECT_THAT(Artifact::hash_from_string("zz1zz1"), ElementsAre(0, 1, 0));
    EXPECT_THAT(Artifact::hash_from_string(" 1-1+20x"), ElementsAre(1, 0xff, 2, 0));
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

/// An artifact's document with one of the sums only.
Json::Value with_sums(const std::string& hashes) {
    auto document = artifact_document();
    document["hashes"] = parse(hashes);
    return document;
}

Artifact read_preferring_sha256(const Json::Value& document) {
    Artifact artifact;
    artifact.from_json(document, Digest::sha256);
    return artifact;
}

TEST(DeploymentArtifact, Sha256IsNotReadUnlessPreferred) {
    EXPECT_THAT(read<Artifact>(artifact_document()).sha256(), IsEmpty());
    EXPECT_NO_THROW(read<Artifact>(with_sums(R"({"sha1": "2d", "md5": "0d", "sha256": 5})")));
}

TEST(DeploymentArtifact, PreferredSha256MakesMd5AndItsLinkDispensable) {
    auto document = with_sums(R"({"sha1": "2d", "sha256": "a0b1"})");
    document["_links"].removeMember("md5sum");
    document["_links"].removeMember("md5sum-http");

    const Artifact artifact = read_preferring_sha256(document);

    EXPECT_THAT(artifact.sha256(), ElementsAre(0xa0, 0xb1));
    EXPECT_THAT(artifact.md5(), IsEmpty());
    EXPECT_THROW(read<Artifact>(document), common::MissingValueException);
}

TEST(DeploymentArtifact, WithoutTheStatedSha256Md5IsNeeded) {
    for (const std::string absent : {"", R"(, "sha256": null)", R"(, "sha256": "")"}) {
        const auto document = with_sums(R"({"sha1": "2d", "md5": "0d1b")" + absent + "}");

        EXPECT_THAT(read_preferring_sha256(document).md5(), ElementsAre(0x0d, 0x1b)) << absent;
        EXPECT_THAT(read_preferring_sha256(document).sha256(), IsEmpty()) << absent;
    }
    EXPECT_THROW(read_preferring_sha256(with_sums(R"({"sha1": "2d"})")),
                 common::MissingValueException);
}

TEST(DeploymentArtifact, PreferredSha256OfAnotherTypeIsRefused) {
    EXPECT_THROW(read_preferring_sha256(with_sums(R"({"sha1": "2d", "md5": "0d", "sha256": 5})")),
                 common::UnexpectedTypeException);
}

TEST(DeploymentAction, ChoiceOfTheSumReachesEveryArtifact) {
    Message message;
    message.from_json(deployment_document(), Digest::sha256);

    EXPECT_THAT(message.chunks().front().artifacts().front().sha256(), ElementsAre(0xa0));
}

}  // namespace
}  // namespace zephran::hawkbit
