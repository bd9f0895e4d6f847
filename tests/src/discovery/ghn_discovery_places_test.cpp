// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ghn_discovery_test.h"

namespace zephran::discovery {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;
using ::testing::SizeIs;

/// A network with more adapters than there are places for agents.
class GhnDiscoveryPlacesTest : public test::GhnDiscoveryTest {
protected:
    static constexpr unsigned places = 128;

    /// Dormant agents come to rest without a server.
    void take_place(const std::string& id) {
        hawkbit::Attributes attributes;
        manager.spawn_agent(id, attributes, {}, true);
    }
    void take_all_places_but(unsigned free) {
        for (unsigned number = 0; number < places - free; ++number) {
            take_place("SN-" + std::to_string(number));
        }
    }
    /// Places two adapters on the network.
    void plug_in_two() {
        set_domain(std::string{first} + "," + second);
        modems.add_adapter(first, "");
        modems.add_adapter(second, "");
    }
    void remove_aborted_agents() {
        constexpr unsigned steps_to_rest = 5;
        for (unsigned step = 0; step < steps_to_rest; ++step) {
            manager.tick_agents();
        }
        manager.remove_aborted_agents();
    }

    const std::string too_many = "event=ghn_too_many_devices limit=128";
    const std::string found_first = "event=ghn_device_found mac=02:00:00:00:00:0a";
    const std::string found_second = "event=ghn_device_found mac=02:00:00:00:00:0b";
    const std::string lost_first = "event=ghn_lost mac=02:00:00:00:00:0a";
};

TEST_F(GhnDiscoveryPlacesTest, NoMoreThan128AdaptersBecomeAgents) {
    take_all_places_but(1);
    plug_in_two();

    run_pass();

    EXPECT_THAT(agents(), SizeIs(places));
    EXPECT_THAT(agents(), Contains(first));
    EXPECT_EQ(count_calls_with("-m 02:00:00:00:00:0b"), 0U);
    EXPECT_THAT(lines(), ElementsAre(start, found_first, too_many));
    EXPECT_THAT(logged_after(" WARNING ghn_discovery_handler.cpp:", log.text()), SizeIs(1));
}

TEST_F(GhnDiscoveryPlacesTest, AgentOfTheGatewayTakesNoPlace) {
    manager.spawn_gateway_agent();
    take_all_places_but(2);
    plug_in_two();

    run_pass();

    EXPECT_THAT(lines(), ElementsAre(start, found_first, found_second));
}

TEST_F(GhnDiscoveryPlacesTest, ShortageIsLoggedOnceUntilItIsOver) {
    take_all_places_but(1);
    plug_in_two();
    run_pass();
    run_pass();

    set_domain(first);
    run_pass();
    plug_in_two();
    run_pass();

    EXPECT_THAT(lines(), ElementsAre(start, found_first, too_many, start, start, start, too_many));
}

TEST_F(GhnDiscoveryPlacesTest, PlaceIsFreeOnceTheAgentOfALostAdapterHasEnded) {
    take_all_places_but(2);
    take_place(first);
    plug_in_two();
    set_domain(first);
    run_pass();
    take_place("SN-last");

    set_domain(second);
    run_pass();
    ASSERT_TRUE(is_aborted(first));
    run_pass();
    EXPECT_THAT(agents(), Not(Contains(second)));
    remove_aborted_agents();
    run_pass();

    EXPECT_THAT(agents(), SizeIs(places));
    EXPECT_THAT(agents(), Contains(second));
    EXPECT_THAT(lines(), ElementsAre(start, found_first, start, too_many, lost_first, start, start,
                                     found_second));
}

TEST_F(GhnDiscoveryPlacesTest, AgentThatOutlivesItsAdapterKeepsItsPlace) {
    set_domain(first);
    modems.add_adapter(first, "SN-first");
    run_pass();
    take_all_places_but(1);

    plug_in_two();
    set_domain(second);
    run_pass();
    run_pass();

    EXPECT_THAT(agents(), SizeIs(places));
    EXPECT_THAT(agents(), Contains("SN-first"));
    EXPECT_THAT(agents(), Not(Contains(second)));
}

TEST_F(GhnDiscoveryPlacesTest, AgentsThatHaveEndedLeaveRoomForOthers) {
    take_all_places_but(0);
    plug_in_two();
    run_pass();
    for (const std::string& id : agents()) {
        manager.abort_agent(id);
    }
    remove_aborted_agents();

    run_pass();

    EXPECT_THAT(agents(), ElementsAre(first, second));
}

}  // namespace
}  // namespace zephran::discovery
