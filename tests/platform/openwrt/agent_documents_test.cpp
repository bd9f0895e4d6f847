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

TEST(DeploymentDocument, DeploymentWithoutChunksHasAnEmptyList) {
    AgentControl agent;
    agent.set_pending_deployment(test::deployment_from({}));

    EXPECT_EQ(text_of(deployment_document(agent)["chunks"]), "[]");
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
