// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/discovery_bench.h"
#include "support/fake_platform.h"
#include "support/ghn_options.h"

namespace zephran::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// A gateway whose configuration may name its own powerline modem.
class AgentManagerGhn : public ::testing::Test {
protected:
    CapturedLog log;
    FakePlatform platform;
    UnreachableServerManager manager;
};

TEST_F(AgentManagerGhn, ModemAddressIsReadWhenTheGatewayAgentIsSpawned) {
    set_controller_mac(platform.config, "02:00:00:00:00:0g");

    manager.spawn_gateway_agent();

    EXPECT_EQ(manager.get_agents().count("gateway"), 1U);
    EXPECT_THAT(log.text(), HasSubstr("message=not a MAC address "
                                      "key=nevra.baptization.LirnMacAddress "
                                      "value=02:00:00:00:00:0g"));
}

TEST_F(AgentManagerGhn, ModemAddressReachesTheInstallersOfTheGateway) {
    set_controller_mac(platform.config, "02:00:00:00:00:01");
    manager.spawn_gateway_agent();

    EXPECT_EQ(manager.gateway_context().mac_address.str(), "02:00:00:00:00:01");
}

TEST_F(AgentManagerGhn, GatewayWithoutAModemGetsItsAgentWithoutAWarning) {
    manager.spawn_gateway_agent();

    EXPECT_EQ(manager.get_agents().count("gateway"), 1U);
    EXPECT_THAT(log.text(), Not(HasSubstr("WARNING")));
}

TEST_F(AgentManagerGhn, ModemAddressIsNotReadForOtherDevices) {
    set_controller_mac(platform.config, "02:00:00:00:00:0g");
    hawkbit::Attributes properties;

    manager.spawn_agent("device", properties, {}, true);

    EXPECT_THAT(log.text(), Not(HasSubstr("not a MAC address")));
}

}  // namespace
}  // namespace zephran::test
