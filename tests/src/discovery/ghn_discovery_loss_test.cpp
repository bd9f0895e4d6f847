// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ghn_discovery_test.h"

namespace zephran::discovery {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// Adapters that disappear after they have been found.
class GhnDiscoveryLossTest : public test::GhnDiscoveryTest {
protected:
    /// Finds the first adapter.
    void find(const std::string& serial_number) {
        set_domain(first);
        modems.add_adapter(first, serial_number);
        run_pass();
    }

    const std::string lost = "event=ghn_lost mac=02:00:00:00:00:0a";
};

TEST_F(GhnDiscoveryLossTest, AdapterMissingFromTheListIsLostOnce) {
    find("");

    set_domain(controller);
    run_pass();

    EXPECT_TRUE(is_aborted(first));
    EXPECT_THAT(log.text(), HasSubstr(" WARNING ghn_discovery_handler.cpp:"));
    run_pass();
    EXPECT_THAT(lines(), ElementsAre(start, "event=ghn_device_found mac=02:00:00:00:00:0a", start,
                                     lost, start));
}

TEST_F(GhnDiscoveryLossTest, AdapterMissingFromTheListIsNotQueried) {
    find("");
    const std::size_t asked = count_calls_with("-m 02:00:00:00:00:0a");

    set_domain(controller);
    run_pass();

    EXPECT_EQ(count_calls_with("-m 02:00:00:00:00:0a"), asked);
}

TEST_F(GhnDiscoveryLossTest, EmptyListMeansAllAdaptersAreLost) {
    set_domain(std::string{second} + "," + first);
    modems.add_adapter(first, "");
    modems.add_adapter(second, "");
    run_pass();

    set_domain("");
    run_pass();

    EXPECT_TRUE(is_aborted(first));
    EXPECT_TRUE(is_aborted(second));
}

TEST_F(GhnDiscoveryLossTest, UnresponsiveAdapterIsLost) {
    find("");

    modems.forget(first, type_parameter);
    run_pass();

    EXPECT_TRUE(is_aborted(first));
    EXPECT_THAT(lines(),
                ElementsAre(start, "event=ghn_device_found mac=02:00:00:00:00:0a", start, lost));
}

TEST_F(GhnDiscoveryLossTest, AdapterThatChangesItsKindIsLostAndThenIgnored) {
    find("");

    modems.answer(first, type_parameter, "ERROR -36");
    run_pass();
    run_pass();

    EXPECT_THAT(lines(),
                ElementsAre(start, "event=ghn_device_found mac=02:00:00:00:00:0a", start, lost,
                            start, "event=ghn_ignoring_device mac=02:00:00:00:00:0a"));
}

TEST_F(GhnDiscoveryLossTest, KnownAdapterThatAnswersNonsenseIsLeftAlone) {
    find("");

    modems.answer_text(first, type_parameter, "nonsense");
    run_pass();
    EXPECT_FALSE(is_aborted(first));
    EXPECT_THAT(lines().back(), HasSubstr("event=ghn_leaving_out_device mac=02:00:00:00:00:0a"));
    set_domain(controller);
    run_pass();

    EXPECT_TRUE(is_aborted(first));
}

TEST_F(GhnDiscoveryLossTest, OtherAdaptersAreKept) {
    set_domain(std::string{first} + "," + second);
    modems.add_adapter(first, "");
    modems.add_adapter(second, "");
    run_pass();

    set_domain(second);
    run_pass();

    EXPECT_TRUE(is_aborted(first));
    EXPECT_FALSE(is_aborted(second));
}

TEST_F(GhnDiscoveryLossTest, AgentWithASerialNumberIsKeptWhenItsAdapterIsLost) {
    find("SN-1");

    set_domain(controller);
    run_pass();

    EXPECT_THAT(lines().back(), lost);
    EXPECT_FALSE(is_aborted("SN-1"));
}

TEST_F(GhnDiscoveryLossTest, ReturningAdapterKeepsItsAgent) {
    find("SN-1");
    const HawkbitAgent* const agent = manager.get_agents().at("SN-1").get();
    set_domain(controller);
    run_pass();

    set_domain(first);
    run_pass();

    EXPECT_THAT(agents(), ElementsAre("SN-1"));
    EXPECT_EQ(manager.get_agents().at("SN-1").get(), agent);
}

TEST_F(GhnDiscoveryLossTest, AgentOfAnAdapterThatReturnsWhileItIsGivenUpLivesOn) {
    find("");
    set_domain(controller);
    run_pass();
    ASSERT_TRUE(is_aborted(first));

    set_domain(first);
    run_pass();

    EXPECT_FALSE(is_aborted(first));
}

TEST_F(GhnDiscoveryLossTest, AdapterThatAnswersOnlyOnceIsFoundAndLostInOnePass) {
    modems.replace_tool(R"(
        for word; do last=$word; done
        case $last in
            DIDMNG*) echo "$last=02:00:00:00:00:0a" ;;
            DHCP*) [ "$call" -lt 9 ] && echo "$last=YES" || exit 1 ;;
            *) echo "$last=" ;;
        esac)");

    run_pass();

    EXPECT_THAT(agents(), ElementsAre(first));
    EXPECT_TRUE(is_aborted(first));
    EXPECT_THAT(lines(), ElementsAre(start, "event=ghn_device_found mac=02:00:00:00:00:0a", lost));
}

}  // namespace
}  // namespace zephran::discovery
