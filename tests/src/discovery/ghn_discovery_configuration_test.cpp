#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ghn_discovery_test.h"

namespace zephran::discovery {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// Configurations without which nothing can be discovered.
class GhnDiscoveryConfigurationTest : public test::GhnDiscoveryTest {
protected:
    /// One pass warns, and no later one does anything, even with everything in order.
    void expect_disabled_for_good() {
        const std::string warning = "message=Invalid G.hn configuration, disabling discovery";
        modems.add_device(first, "SN-1");
        set_domain(first);

        run_pass();
        EXPECT_THAT(lines(), ElementsAre(warning));
        EXPECT_THAT(log.text(), HasSubstr(" WARNING ghn_discovery_handler.cpp:"));

        store.set_ghn("br-lan", "hush");
        store.set_controller_mac(controller);
        run_pass();
        EXPECT_THAT(lines(), ElementsAre(warning));
        EXPECT_THAT(modems.calls(), IsEmpty());
        EXPECT_THAT(manager.get_agents(), IsEmpty());
    }
};

TEST_F(GhnDiscoveryConfigurationTest, WithoutAnInterfaceDiscoveryIsDisabledForGood) {
    store.set("ghn", "ghn", "option password 'hush'");
    expect_disabled_for_good();
}

TEST_F(GhnDiscoveryConfigurationTest, WithoutAPasswordDiscoveryIsDisabledForGood) {
    store.set("ghn", "ghn", "option interface 'br-lan'");
    expect_disabled_for_good();
}

TEST_F(GhnDiscoveryConfigurationTest, WithoutAControllerAddressDiscoveryIsDisabledForGood) {
    store.remove("nevra");
    expect_disabled_for_good();
}

TEST_F(GhnDiscoveryConfigurationTest, WithAZeroControllerAddressDiscoveryIsDisabledForGood) {
    store.set_controller_mac("00:00:00:00:00:00");
    expect_disabled_for_good();
}

TEST_F(GhnDiscoveryConfigurationTest, WithAWrongControllerAddressDiscoveryIsDisabledForGood) {
    store.set_controller_mac("none");
    expect_disabled_for_good();
}

TEST_F(GhnDiscoveryConfigurationTest, LossOfTheConfigurationDisablesALaterPass) {
    run_pass();

    store.remove("ghn");
    run_pass();
    run_pass();

    EXPECT_THAT(lines(), ElementsAre(start,
                                     "message=Invalid G.hn configuration, disabling "
                                     "discovery"));
}

}  // namespace
}  // namespace zephran::discovery
