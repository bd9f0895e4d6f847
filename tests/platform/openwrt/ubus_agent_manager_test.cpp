// SPDX-License-Identifier: Apache-2.0
#include "openwrt/ubus_agent_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bus_bench.h"
#include "support/message_builder.h"
#include "ubus/exceptions.h"

namespace zephran::platform::openwrt {

namespace {

using ::testing::HasSubstr;

constexpr const char* succeeded = "{\"success\":true}\n";
constexpr const char* failed = "{\"success\":false}\n";

class UbusAgentManagerTest : public ::testing::Test, protected BusBench {
protected:
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

TEST_F(UbusAgentManagerTest, OffersItsMethodsInOrder) {
    start();

    const auto listed = test::run_command(broker.listing("zephran"));

    EXPECT_THAT(listed.output,
                ::testing::MatchesRegex("'zephran' @[0-9a-f]+\n"
                                        "\t\"force_poll\":[{]\"agent_id\":\"String\"[}]\n"
                                        "\t\"get_deployment\":[{][}]\n"
                                        "\t\"accept_deployment\":[{][}]\n"
                                        "\t\"get_agents\":[{][}]\n"));
}

TEST_F(UbusAgentManagerTest, ForcePollWithoutArgumentsReachesEveryAgent) {
    start();
    manager.spawn_device("device");

    EXPECT_EQ(call("force_poll").output, succeeded);

    EXPECT_TRUE(manager.control("gw").is_poll_forced());
    EXPECT_TRUE(manager.control("device").is_poll_forced());
    EXPECT_THAT(finished_log(), HasSubstr("INFO ubus_agent_manager.cpp"));
    EXPECT_THAT(log.text(), HasSubstr("handle_force_poll: event=ubus method=force_poll agent=all"));
}

TEST_F(UbusAgentManagerTest, ForcePollOnlyReachesTheNamedAgent) {
    start();
    manager.spawn_device("device");

    EXPECT_EQ(call(R"(force_poll '{"agent_id":"device"}')").output, succeeded);

    EXPECT_FALSE(manager.control("gw").is_poll_forced());
    EXPECT_TRUE(manager.control("device").is_poll_forced());
    EXPECT_THAT(finished_log(),
                HasSubstr("handle_force_poll: event=ubus method=force_poll agent=\"device\""));
}

TEST_F(UbusAgentManagerTest, ForcePollOfAnUnknownAgentFailsAndIsAnError) {
    start();

    EXPECT_EQ(call(R"(force_poll '{"agent_id":"unknown"}')").output, failed);

    EXPECT_FALSE(manager.control("gw").is_poll_forced());
    EXPECT_THAT(finished_log(), HasSubstr("ERROR ubus_agent_manager.cpp"));
    EXPECT_THAT(log.text(),
                HasSubstr("handle_force_poll: event=ubus error=no such agent agent=\"unknown\""));
}

TEST_F(UbusAgentManagerTest, OtherArgumentsOfForcePollAreIgnored) {
    start();

    EXPECT_EQ(call(R"(force_poll '{"agent":"gw","n":[1,{"x":2.5}]}')").output, succeeded);

    EXPECT_TRUE(manager.control("gw").is_poll_forced());
}

TEST_F(UbusAgentManagerTest, AgentIdOfAnotherTypeIsConvertedToText) {
    start();
    manager.spawn_device("5");
    manager.spawn_device("true");

    EXPECT_EQ(call(R"(force_poll '{"agent_id":5}')").output, succeeded);
    EXPECT_EQ(call(R"(force_poll '{"agent_id":true}')").output, succeeded);
    for (const char* const unknown : {"null", "1.25", "-1", R"("")", R"("g w")", R"("\u0001")"}) {
        EXPECT_EQ(call(R"(force_poll '{"agent_id":)" + std::string{unknown} + "}'").output, failed)
            << unknown;
    }

    EXPECT_TRUE(manager.control("5").is_poll_forced());
    EXPECT_TRUE(manager.control("true").is_poll_forced());
    EXPECT_FALSE(manager.control("gw").is_poll_forced());
}

TEST_F(UbusAgentManagerTest, AgentIdThatCannotBeConvertedFails) {
    start();

    EXPECT_EQ(call(R"(force_poll '{"agent_id":["gw"]}')").output, failed);
    EXPECT_EQ(call(R"(force_poll '{"agent_id":{"id":"gw"}}')").output, failed);

    EXPECT_FALSE(manager.control("gw").is_poll_forced());
    EXPECT_THAT(finished_log(), HasSubstr("event=exception_caught action=call method=force_poll"));
}

TEST_F(UbusAgentManagerTest, ArgumentsThatAreNotValidJsonFail) {
    start();

    EXPECT_EQ(call(R"(force_poll '{"":"x"}')").output, failed);
    EXPECT_EQ(call(R"(force_poll '{"agent_id":NaN}')").output, failed);

    EXPECT_EQ(call("force_poll").output, succeeded);
    EXPECT_THAT(finished_log(), HasSubstr("Failed to parse JSON object"));
}

TEST_F(UbusAgentManagerTest, DeploymentIsUnavailableWithoutAGateway) {
    manager.run_setup();

    EXPECT_EQ(call("get_deployment").output,
              "{\"message\":\"no gateway agent\",\"success\":false}\n");
    EXPECT_EQ(call("accept_deployment").output,
              "{\"message\":\"no pending deployment\",\"success\":false}\n");
    EXPECT_EQ(call("get_agents").output, "{\"agents\":null}\n");
}

TEST_F(UbusAgentManagerTest, LastPollIsReportedEvenIfNothingIsPending) {
    start();
    manager.control("gw").set_last_poll(std::chrono::system_clock::from_time_t(1'794'675'791));

    EXPECT_EQ(call("get_deployment").output,
              "{\"last_poll\":\"2026-11-14T17:03:11Z\",\"message\":\"no pending deployment\","
              "\"success\":false}\n");
    EXPECT_THAT(finished_log(),
                HasSubstr("handle_get_deployment: event=ubus method=get_deployment"));
}

TEST_F(UbusAgentManagerTest, PendingDeploymentIsShown) {
    start();
    offer("42");

    EXPECT_EQ(call("get_deployment").output,
              "{\"action_id\":\"42\",\"chunks\":[{\"type\":\"script\",\"version\":\"1.0\"}],"
              "\"last_poll\":\"1970-01-01T00:00:00Z\",\"success\":true}\n");
}

TEST_F(UbusAgentManagerTest, AcceptsThePendingDeployment) {
    start();
    offer("42");

    EXPECT_EQ(call("accept_deployment").output, succeeded);
    EXPECT_EQ(call("accept_deployment").output, succeeded);

    EXPECT_EQ(manager.control("gw").accepted_deployment(), "42");
    EXPECT_THAT(finished_log(),
                HasSubstr("handle_accept_deployment: event=ubus method=accept_deployment"));
}

TEST_F(UbusAgentManagerTest, NameOfTheDeploymentToAcceptIsIgnoredUnlessTheBusIsExtended) {
    start();
    offer("42");

    EXPECT_EQ(call(R"(accept_deployment '{"action_id":["other"]}')").output, succeeded);

    EXPECT_EQ(manager.control("gw").accepted_deployment(), "42");
}

TEST_F(UbusAgentManagerTest, WithdrawnDeploymentCannotBeAccepted) {
    start();
    offer("42");
    manager.control("gw").drop_pending_deployment();

    EXPECT_EQ(call("accept_deployment").output,
              "{\"message\":\"no pending deployment\",\"success\":false}\n");

    EXPECT_EQ(manager.control("gw").accepted_deployment(), "");
}

TEST_F(UbusAgentManagerTest, DeploymentsOfDevicesAreNeitherShownNorAccepted) {
    start();
    manager.spawn_device("device");
    manager.control("device").set_pending_deployment({});

    EXPECT_THAT(call("get_deployment").output, HasSubstr("no pending deployment"));
    EXPECT_THAT(call("accept_deployment '{\"agent_id\":\"device\"}'").output,
                HasSubstr("no pending deployment"));
}

TEST_F(UbusAgentManagerTest, AgentsAreListedWithTheirAttributes) {
    start();
    manager.spawn_device("device");

    EXPECT_EQ(call("get_agents").output,
              "{\"agents\":[{\"config\":{\"model\":\"x\",\"parent\":\"gw\"},\"id\":\"device\"},"
              "{\"config\":{\"dormant\":\"1\",\"installed_flash_type\":\"\"},\"id\":\"gw\"}]}\n");
    EXPECT_THAT(finished_log(), HasSubstr("handle_get_agents: event=ubus method=get_agents"));
}

TEST_F(UbusAgentManagerTest, SetupFailsWithoutABroker) {
    broker.kill();

    EXPECT_THROW(manager.run_setup(), ubus::UbusConnectException);
}

TEST_F(UbusAgentManagerTest, SetupFailsWhenTheNameIsTaken) {
    // Nothing serves this one: the library does not support connections on two threads.
    const ubus::UbusObject taken{"zephran", {}, {broker.socket()}};

    EXPECT_THROW(manager.run_setup(), ubus::ObjectAddException);
}

TEST_F(UbusAgentManagerTest, ObjectIsRegisteredAgainWhenTheBrokerReturns) {
    start();

    broker.kill();
    broker.start();
    ASSERT_EQ(test::run_command(broker.command("wait_for zephran")).status, 0);

    EXPECT_EQ(call("force_poll").output, succeeded);
}

TEST_F(UbusAgentManagerTest, NothingIsServedAfterTheTeardown) {
    start();

    manager.run_teardown();

    EXPECT_EQ(call("force_poll").status, UBUS_STATUS_NOT_FOUND);
}

}  // namespace

}  // namespace zephran::platform::openwrt
