// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ghn_discovery_test.h"

namespace zephran::discovery {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// Discovery with an incomplete configuration.
class GhnDiscoveryConfigurationTest : public test::GhnDiscoveryTest {
protected:
    /// One pass warns. Later ones do nothing, even with a complete configuration.
    void expect_disabled_permanently() {
        const std::string warning = "message=Invalid G.hn configuration, disabling discovery";
        modems.add_adapter(first, "SN-1");
        set_domain(first);

        run_pass();
        EXPECT_THAT(lines(), ElementsAre(warning));
        EXPECT_THAT(log.text(), HasSubstr(" WARNING ghn_discovery_handler.cpp:"));

        set_ghn(platform.config, "br-lan", "hush");
        set_controller_mac(platform.config, controller);
        run_pass();
        EXPECT_THAT(lines(), ElementsAre(warning));
        EXPECT_THAT(modems.calls(), IsEmpty());
        EXPECT_THAT(manager.get_agents(), IsEmpty());
    }
};

TEST_F(GhnDiscoveryConfigurationTest, MissingInterfaceDisablesDiscovery) {
    platform.config.values.erase("ghn.ghn.interface");
    expect_disabled_permanently();
}

TEST_F(GhnDiscoveryConfigurationTest, MissingPasswordDisablesDiscovery) {
    platform.config.values.erase("ghn.ghn.password");
    expect_disabled_permanently();
}

TEST_F(GhnDiscoveryConfigurationTest, MissingControllerAddressDisablesDiscovery) {
    platform.config.values.erase("nevra.baptization.LirnMacAddress");
    expect_disabled_permanently();
}

TEST_F(GhnDiscoveryConfigurationTest, ZeroControllerAddressDisablesDiscovery) {
    set_controller_mac(platform.config, "00:00:00:00:00:00");
    expect_disabled_permanently();
}

TEST_F(GhnDiscoveryConfigurationTest, InvalidControllerAddressDisablesDiscovery) {
    set_controller_mac(platform.config, "none");
    expect_disabled_permanently();
}

TEST_F(GhnDiscoveryConfigurationTest, LossOfTheConfigurationDisablesALaterPass) {
    run_pass();

    platform.config.values.erase("ghn.ghn.interface");
    platform.config.values.erase("ghn.ghn.password");
    run_pass();
    run_pass();

    EXPECT_THAT(lines(), ElementsAre(start,
                                     "message=Invalid G.hn configuration, disabling "
                                     "discovery"));
}

}  // namespace
}  // namespace zephran::discovery
