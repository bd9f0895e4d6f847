// SPDX-License-Identifier: Apache-2.0
#include "openwrt/agent_documents.h"

#include <gtest/gtest.h>

#include "common/json.h"
#include "support/message_builder.h"

namespace zephran::platform::openwrt {

namespace {

std::string text_of(const Json::Value& document) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, document);
}

TEST(DeploymentDocument, TimeIsTheEpochBeforeTheFirstPoll) {
    const AgentControl agent;

    EXPECT_EQ(text_of(deployment_document(agent)),
              R"({"last_poll":"1970-01-01T00:00:00Z","message":"no pending deployment",)"
              R"("success":false})");
}

TEST(DeploymentDocument, TimeIsUtcInWholeSeconds) {
    AgentControl agent;
    agent.set_last_poll(std::chrono::system_clock::from_time_t(1'794'675'791) +
                        std::chrono::milliseconds{999});

    EXPECT_EQ(deployment_document(agent)["last_poll"].asString(), "2026-11-14T17:03:11Z");
}

TEST(DeploymentDocument, ListsTheChunksOfThePendingDeploymentInOrder) {
    test::DeploymentText text;
    text.id = "42";
    text.chunks = {{"script", "second", "2.0"}, {"os", "first", "1.0"}};
    AgentControl agent;
    agent.set_pending_deployment(test::deployment_from(text));

    EXPECT_EQ(text_of(deployment_document(agent)),
              R"({"action_id":"42","chunks":[{"type":"script","version":"2.0"},)"
              R"({"type":"os","version":"1.0"}],"last_poll":"1970-01-01T00:00:00Z",)"
              R"("success":true})");
}

TEST(DeploymentDocument, FullOneTellsNameAndSizeOfEachChunk) {
    test::ArtifactText three_bytes;
    three_bytes.content = "abc";
    test::ArtifactText four_bytes;
    four_bytes.content = "defg";
    test::DeploymentText text;
    text.chunks = {{"script", "second", "2.0", {three_bytes, four_bytes}}, {"os", "first", "1.0"}};
    AgentControl agent;
    agent.set_pending_deployment(test::deployment_from(text));

    EXPECT_EQ(text_of(deployment_document(agent, ChunkDetail::full)["chunks"]),
              R"([{"name":"second","size":7,"type":"script","version":"2.0"},)"
              R"({"name":"first","size":0,"type":"os","version":"1.0"}])");
}

TEST(DeploymentDocument, FullOneTellsTheMetadataOfAChunk) {
    test::DeploymentText text;
    text.chunks = {{"os", "first", "1.0", {}, {{"note", "<b>Faster</b>"}, {"note", "safer"}}}};
    AgentControl agent;
    agent.set_pending_deployment(test::deployment_from(text));

    EXPECT_EQ(text_of(deployment_document(agent, ChunkDetail::full)["chunks"][0]["metadata"]),
              R"([{"key":"note","value":"<b>Faster</b>"},{"key":"note","value":"safer"}])");
}

TEST(DeploymentDocument, BriefOneTellsNoMetadata) {
    test::DeploymentText text;
    text.chunks = {{"os", "first", "1.0", {}, {{"note", "new"}}}};
    AgentControl agent;
    agent.set_pending_deployment(test::deployment_from(text));

    EXPECT_EQ(text_of(deployment_document(agent)["chunks"]), R"([{"type":"os","version":"1.0"}])");
}

TEST(DeploymentDocument, DeploymentWithoutChunksHasAnEmptyList) {
    AgentControl agent;
    agent.set_pending_deployment(test::deployment_from({}));

    EXPECT_EQ(text_of(deployment_document(agent)["chunks"]), "[]");
}

constexpr AgentStatus::time_point some_time{std::chrono::seconds{1'794'675'791}};

TEST(StatusDocument, LeavesOutWhatDoesNotApply) {
    EXPECT_EQ(text_of(status_document({})),
              R"({"counters":{"bytes":0,"deployments":0,"failed_polls":0,"polls":0},)"
              R"("state":"polling"})");
}

TEST(StatusDocument, TellsEverythingThatApplies) {
    AgentStatus status;
    status.state = AgentStatus::State::downloading;
    status.action_id = "42";
    status.chunk = 2;
    status.chunks = 3;
    status.part = "os";
    status.version = "1.5";
    status.download.emplace();
    status.download->bytes = 5'000'000'000;
    status.download->size = 6'000'000'000;
    status.download->attempt = 3;
    status.download->speed = 1000;
    status.next_poll = some_time;
    status.backoff_until = some_time + std::chrono::seconds{1};
    status.delay_until = some_time + std::chrono::seconds{2};
    status.last_error = AgentStatus::Failure{some_time, "no answer", 1007};
    status.last_result = AgentStatus::Result{"41", AgentStatus::Outcome::cancelled, some_time};
    status.counters = {4, 3, 2, 1};

    EXPECT_EQ(text_of(status_document(status)),
              R"({"action_id":"42","attempt":3,"backoff_until":"2026-11-14T17:03:12Z",)"
              R"("bytes":5000000000,"chunk":2,"chunks":3,)"
              R"("counters":{"bytes":1,"deployments":2,"failed_polls":3,"polls":4},)"
              R"("delay_until":"2026-11-14T17:03:13Z",)"
              R"("last_error":{"status":1007,"text":"no answer","time":"2026-11-14T17:03:11Z"},)"
              R"("last_result":{"action_id":"41","result":"cancelled",)"
              R"("time":"2026-11-14T17:03:11Z"},)"
              R"("next_poll":"2026-11-14T17:03:11Z","part":"os","size":6000000000,)"
              R"("speed":1000,"state":"downloading","version":"1.5"})");
}

TEST(StatusDocument, DeploymentThatWaitsIsAtNoChunk) {
    AgentStatus status;
    status.state = AgentStatus::State::waiting_user;
    status.action_id = "42";
    status.chunks = 3;

    const Json::Value document = status_document(status);

    EXPECT_EQ(document["chunks"].asInt(), 3);
    EXPECT_FALSE(document.isMember("chunk") || document.isMember("part") ||
                 document.isMember("version"));
}

TEST(StatusDocument, TransferThatTheMainLoopWaitsForHasASizeOnly) {
    AgentStatus status;
    status.download.emplace();
    status.download->size = 7;

    const Json::Value document = status_document(status);

    EXPECT_EQ(document["size"].asInt(), 7);
    EXPECT_FALSE(document.isMember("bytes") || document.isMember("attempt") ||
                 document.isMember("speed"));
}

TEST(ProgressDocument, TellsHowFarTheDownloadHasCome) {
    AgentStatus status;
    status.state = AgentStatus::State::downloading;
    status.action_id = "42";
    status.chunk = 2;
    status.chunks = 3;
    status.part = "os";
    status.version = "1.5";
    status.download.emplace();
    status.download->bytes = 5;
    status.download->size = 6;
    status.download->speed = 4;

    EXPECT_EQ(text_of(progress_document(status)),
              R"({"action_id":"42","bytes":5,"chunk":2,"chunks":3,"part":"os","size":6,)"
              R"("speed":4})");
}

TEST(AgentsDocument, NoAgentsAreNull) {
    EXPECT_EQ(text_of(agents_document({})), R"({"agents":null})");
}

TEST(AgentsDocument, ListsTheAttributesOfEveryAgentSortedById) {
    const auto gateway = std::make_shared<AgentControl>();
    gateway->set_attributes({{"installed_flash_type", ""}, {"dormant", "1"}});
    const auto device = std::make_shared<AgentControl>();
    device->set_attributes({{"parent", "gw"}});

    EXPECT_EQ(text_of(agents_document({{"gw", gateway}, {"device", device}})),
              R"({"agents":[{"config":{"parent":"gw"},"id":"device"},)"
              R"({"config":{"dormant":"1","installed_flash_type":""},"id":"gw"}]})");
}

TEST(AgentsDocument, AgentWithoutAttributesHasAnEmptyObject) {
    EXPECT_EQ(text_of(agents_document({{"gw", std::make_shared<AgentControl>()}})),
              R"({"agents":[{"config":{},"id":"gw"}]})");
}

}  // namespace

}  // namespace zephran::platform::openwrt
