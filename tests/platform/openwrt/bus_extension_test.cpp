// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bus_bench.h"
#include "openwrt/status_notifier.h"
#include "support/message_builder.h"

namespace zephran::platform::openwrt {

namespace {

using ::testing::HasSubstr;

constexpr bool extended = true;

class ExtendedBusTest : public ::testing::Test, protected BusBench {
protected:
    static constexpr const char* succeeded = "{\"success\":true}\n";
    static constexpr const char* failed = "{\"success\":false}\n";

    ExtendedBusTest() : BusBench{extended} {}

    void start() {
        manager.spawn_gateway_agent();
        manager.run_setup();
    }

    void offer(const std::string& id) {
        test::DeploymentText text;
        text.id = id;
        text.chunks = {{"script", "name", "1.0"}};
        manager.control("gw").set_pending_deployment(test::deployment_from(text));
    }
};

TEST_F(ExtendedBusTest, OffersMoreMethodsAfterTheOthers) {
    start();

    const auto listed = test::run_command(broker.listing("zephran"));

    EXPECT_THAT(listed.output,
                ::testing::MatchesRegex("'zephran' @[0-9a-f]+\n"
                                        "\t\"force_poll\":[{]\"agent_id\":\"String\"[}]\n"
                                        "\t\"get_deployment\":[{][}]\n"
                                        "\t\"accept_deployment\":[{]\"action_id\":\"String\"[}]\n"
                                        "\t\"get_agents\":[{][}]\n"
                                        "\t\"postpone_deployment\":[{]\"hours\":\"Integer\"[}]\n"
                                        "\t\"get_status\":[{][}]\n"));
}

TEST_F(ExtendedBusTest, StatusIsUnavailableWithoutAGateway) {
    manager.run_setup();

    EXPECT_EQ(call("get_status").output, "{\"message\":\"no gateway agent\",\"success\":false}\n");
}

TEST_F(ExtendedBusTest, StatusIsWhatTheAgentHasPublished) {
    start();
    AgentStatus status;
    status.state = AgentStatus::State::installing;
    status.action_id = "42";
    status.chunks = 1;
    manager.control("gw").set_status(status);

    EXPECT_EQ(call("get_status").output,
              "{\"action_id\":\"42\",\"chunks\":1,\"counters\":{\"bytes\":0,"
              "\"deployments\":0,\"failed_polls\":0,\"polls\":0},\"state\":\"installing\"}\n");
    EXPECT_THAT(finished_log(), HasSubstr("handle_get_status: event=ubus method=get_status"));
}

TEST_F(ExtendedBusTest, PendingDeploymentTellsNameAndSizeOfEachChunk) {
    start();
    offer("42");

    EXPECT_THAT(call("get_deployment").output,
                HasSubstr("\"chunks\":[{\"name\":\"name\",\"size\":0,\"type\":\"script\","
                          "\"version\":\"1.0\"}]"));
}

TEST_F(ExtendedBusTest, AcceptsTheDeploymentThatIsNamed) {
    start();
    offer("42");

    EXPECT_EQ(call(R"(accept_deployment '{"action_id":"42"}')").output, succeeded);

    EXPECT_EQ(manager.control("gw").accepted_deployment(), "42");
}

TEST_F(ExtendedBusTest, AcceptsWhateverIsPendingWithoutAName) {
    start();
    offer("42");

    EXPECT_EQ(call("accept_deployment").output, succeeded);

    EXPECT_EQ(manager.control("gw").accepted_deployment(), "42");
}

TEST_F(ExtendedBusTest, NumberNamesADeploymentAsWell) {
    start();
    offer("42");

    EXPECT_EQ(call(R"(accept_deployment '{"action_id":42}')").output, succeeded);
}

TEST_F(ExtendedBusTest, AcceptsNoOtherDeploymentThanTheNamedOne) {
    start();
    offer("42");

    for (const char* const other : {R"("41")", R"("")", "43", "null", R"("42 ")"}) {
        EXPECT_EQ(call(R"(accept_deployment '{"action_id":)" + std::string{other} + "}'").output,
                  "{\"message\":\"another deployment is pending\",\"success\":false}\n")
            << other;
    }

    EXPECT_EQ(manager.control("gw").accepted_deployment(), "");
}

TEST_F(ExtendedBusTest, NameThatCannotBeReadAcceptsNothing) {
    start();
    offer("42");

    EXPECT_EQ(call(R"(accept_deployment '{"action_id":["42"]}')").output, failed);

    EXPECT_EQ(manager.control("gw").accepted_deployment(), "");
}

TEST_F(ExtendedBusTest, NameOfADeploymentThatHasGoneIsRefused) {
    start();

    EXPECT_EQ(call(R"(accept_deployment '{"action_id":"42"}')").output,
              "{\"message\":\"no pending deployment\",\"success\":false}\n");
}

TEST_F(ExtendedBusTest, PostponesThePendingDeployment) {
    start();
    offer("42");

    EXPECT_EQ(call(R"(postpone_deployment '{"hours":168}')").output, succeeded);

    const auto wish = manager.control("gw").take_postponement();
    ASSERT_NE(wish, nullptr);
    EXPECT_EQ(wish->first, "42");
    EXPECT_EQ(wish->second, std::chrono::hours{168});
    EXPECT_EQ(manager.control("gw").take_postponement(), nullptr);
    EXPECT_THAT(finished_log(), HasSubstr("event=ubus method=postpone_deployment"));
}

TEST_F(ExtendedBusTest, PostponesForOneToOneHundredAndSixtyEightHours) {
    start();
    offer("42");

    for (const char* const arguments :
         {"{}", R"({"hours":0})", R"({"hours":169})", R"({"hours":-1})", R"({"hours":"5"})",
          R"({"hours":1.5})", R"({"hours":true})", R"({"hours":[1]})", R"({"hours":4294967297})"}) {
        EXPECT_EQ(call("postpone_deployment '" + std::string{arguments} + "'").output,
                  "{\"message\":\"hours must be a number from 1 to 168\",\"success\":false}\n")
            << arguments;
    }

    EXPECT_EQ(manager.control("gw").take_postponement(), nullptr);
}

TEST_F(ExtendedBusTest, NothingToPostponeIsToldFirst) {
    start();

    EXPECT_EQ(call(R"(postpone_deployment '{"hours":1}')").output,
              "{\"message\":\"no pending deployment\",\"success\":false}\n");
}

TEST_F(ExtendedBusTest, TheLastWishOfTheUserCounts) {
    start();
    offer("42");

    EXPECT_EQ(call("accept_deployment").output, succeeded);
    EXPECT_EQ(call(R"(postpone_deployment '{"hours":1}')").output, succeeded);

    EXPECT_EQ(manager.control("gw").accepted_deployment(), "");
}

TEST(StatusNotifierTest, MakesNotificationsOfWhatItHears) {
    StatusNotifier notifier;
    AgentStatus status;
    status.state = AgentStatus::State::downloading;
    status.download.emplace();
    status.download->bytes = 5;

    notifier.state_has_changed(status);
    notifier.download_has_progressed(status);

    const auto state = notifier.queue()->take();
    const auto progress = notifier.queue()->take();
    ASSERT_TRUE(state && progress);
    EXPECT_EQ(state->type, "state");
    EXPECT_EQ(state->content, status_document(status));
    EXPECT_FALSE(state->is_passing);
    EXPECT_EQ(progress->type, "progress");
    EXPECT_EQ(progress->content, progress_document(status));
    EXPECT_TRUE(progress->is_passing);
}

TEST_F(ExtendedBusTest, AgentsStepIsSeen) {
    start();
    manager.tick_agents();
    manager.tick_agents();

    EXPECT_THAT(call("get_status").output, HasSubstr("\"state\":\"dormant\""));
}

}  // namespace

}  // namespace zephran::platform::openwrt
