// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <exception>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ghn_discovery_test.h"

namespace zephran::discovery {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// Discovery that is told to do something differently.
class GhnDiscoveryOptionsTest : public test::GhnDiscoveryTest {
protected:
    GhnDiscoveryHandler& make(const DiscoveryOptions& options) {
        configured = std::make_unique<GhnDiscoveryHandler>(test::PassClock::period, "gw-1", options,
                                                           clock.reader());
        configured->setup(&manager);
        return *configured;
    }

    std::unique_ptr<GhnDiscoveryHandler> configured;
};

TEST_F(GhnDiscoveryOptionsTest, IdsCanBeginWithThatOfTheGateway) {
    DiscoveryOptions options;
    options.ids = AdapterIds::prefixed;
    set_domain(std::string{first} + "," + second);
    modems.add_adapter(first, "SN-1");
    modems.add_adapter(second, "");

    clock.run_pass(make(options));

    EXPECT_THAT(agents(), ElementsAre("gw-1-02:00:00:00:00:0b", "gw-1-SN-1"));
}

TEST_F(GhnDiscoveryOptionsTest, LostAdapterWithoutASerialNumberIsGivenUpByItsLongerId) {
    DiscoveryOptions options;
    options.ids = AdapterIds::prefixed;
    set_domain(first);
    modems.add_adapter(first, "");
    clock.run_pass(make(options));

    set_domain(controller);
    clock.run_pass(*configured);

    EXPECT_TRUE(is_aborted("gw-1-02:00:00:00:00:0a"));
}

TEST_F(GhnDiscoveryOptionsTest, GatewaysIdIsLeftOutOtherwise) {
    set_domain(first);
    modems.add_adapter(first, "SN-1");

    clock.run_pass(make({}));

    EXPECT_THAT(agents(), ElementsAre("SN-1"));
}

TEST_F(GhnDiscoveryOptionsTest, QuotedPasswordReachesEveryModemAsItIs) {
    DiscoveryOptions options;
    options.quoting = ghn::ConfigLayerQuoting::shell;
    set_ghn(platform.config, "br-lan", "a&b 'c'");
    set_domain(first);
    modems.add_adapter(first, "SN-1");

    clock.run_pass(make(options));

    EXPECT_THAT(agents(), ElementsAre("SN-1"));
    EXPECT_EQ(count_calls_with(" -w a&b 'c' -m "), modems.calls().size());
}

TEST_F(GhnDiscoveryOptionsTest, FailureToReadTheListEndsOnlyThePass) {
    DiscoveryOptions options;
    options.failure_is_fatal = false;
    modems.forget(controller, "DIDMNG.GENERAL.MACS");
    clock.run_pass(make(options));
    EXPECT_THAT(agents(), IsEmpty());
    EXPECT_THAT(log.text(), HasSubstr(" tick: event=discovery_failed what="));

    set_domain(first);
    modems.add_adapter(first, "SN-1");
    clock.run_pass(*configured);

    EXPECT_THAT(agents(), ElementsAre("SN-1"));
}

TEST_F(GhnDiscoveryOptionsTest, ToolThatHangsIsEndedAtItsLimitWhateverItIsAskedFor) {
    DiscoveryOptions options;
    options.failure_is_fatal = false;
    options.tool_limit = std::chrono::milliseconds{500};
    for (const std::string hanging : {"DIDMNG.*", "DHCP.*", "SYSTEM.*"}) {
        modems.replace_tool("for word; do last=$word; done\ncase $last in\n" + hanging +
                            R"() exec sleep 60 ;;
                DIDMNG*) echo "$last=02:00:00:00:00:0a" ;;
                *) echo "$last=YES" ;;
            esac)");
        const auto before = std::chrono::steady_clock::now();

        clock.run_pass(make(options));

        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds{20}) << hanging;
        EXPECT_THAT(agents(), IsEmpty()) << hanging;
    }
}

TEST_F(GhnDiscoveryOptionsTest, FailureToReadTheListIsFatalOtherwise) {
    modems.forget(controller, "DIDMNG.GENERAL.MACS");

    EXPECT_THROW(clock.run_pass(make({})), std::exception);
}

}  // namespace
}  // namespace zephran::discovery
