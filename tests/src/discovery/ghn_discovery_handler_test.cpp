// SPDX-License-Identifier: Apache-2.0
#include "discovery/ghn_discovery_handler.h"

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include <boost/exception/exception.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ghn/exceptions.h"
#include "support/ghn_discovery_test.h"

namespace zephran::discovery {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;
using ::testing::SizeIs;

class GhnDiscoveryHandlerTest : public test::GhnDiscoveryTest {};

std::string joined(const std::string& a, const std::string& b) {
    return a + "," + b;
}

std::string found(const std::string& mac) {
    return "event=ghn_device_found mac=" + mac;
}

std::string ignored(const std::string& mac) {
    return "event=ghn_ignoring_device mac=" + mac;
}

std::string left_out(const std::string& mac) {
    return "event=ghn_leaving_out_device mac=" + mac + " what=";
}

TEST_F(GhnDiscoveryHandlerTest, NetworkWithoutAdaptersYieldsNoAgents) {
    run_pass();

    EXPECT_THAT(modems.calls(),
                ElementsAre("configlayer -i br-lan -w hush -m 02:00:00:00:00:01 -o GET -p "
                            "DIDMNG.GENERAL.MACS"));
    EXPECT_THAT(manager.get_agents(), IsEmpty());
    EXPECT_THAT(lines(), ElementsAre(start));
}

TEST_F(GhnDiscoveryHandlerTest, AdapterReportsItsProperties) {
    set_domain(joined(controller, first));
    modems.add_adapter(first, "SN-1");

    run_pass();

    EXPECT_THAT(manager.get_agents().at("SN-1")->attributes(),
                ElementsAre(Pair("device_name", "Socket 2"), Pair("device_type", "ghn"),
                            Pair("firmware_version", "7.8.1"), Pair("hw_product", "PL-500"),
                            Pair("hw_revision", "B"), Pair("parent", "gateway"),
                            Pair("product_class", "adapter")));
    EXPECT_THAT(lines(), ElementsAre(start, found(first)));
}

TEST_F(GhnDiscoveryHandlerTest, PasswordThatTheToolRepeatsIsInNoAttribute) {
    set_domain(first);
    modems.add_adapter(first, "SN-1");
    modems.answer_text(first, "SYSTEM.PRODUCTION.DEVICE_NAME",
                       "SYSTEM.PRODUCTION.DEVICE_NAME=Socket 2\nconfiglayer -w hush\n");

    run_pass();

    EXPECT_EQ(manager.get_agents().at("SN-1")->attributes().at("device_name"),
              "Socket 2\nconfiglayer -w ***");
}

TEST_F(GhnDiscoveryHandlerTest, NewAdapterIsQueriedWithTheConfiguredAccessAndClassifiedTwice) {
    set_domain(first);
    modems.add_adapter(first, "SN-1");

    run_pass();

    const std::string ask = "configlayer -i br-lan -w hush -m 02:00:00:00:00:0a -o GET -p ";
    EXPECT_THAT(
        modems.calls(),
        ElementsAre("configlayer -i br-lan -w hush -m 02:00:00:00:00:01 -o GET -p "
                    "DIDMNG.GENERAL.MACS",
                    ask + type_parameter, ask + "SYSTEM.PRODUCTION.PRODUCT_CLASS",
                    ask + "SYSTEM.PRODUCTION.DEVICE_NAME", ask + "SYSTEM.PRODUCTION.HW_REVISION",
                    ask + "SYSTEM.PRODUCTION.HW_PRODUCT", ask + "SYSTEM.GENERAL.FW_VERSION",
                    ask + "SYSTEM.PRODUCTION.SERIAL_NUMBER", ask + type_parameter));
}

TEST_F(GhnDiscoveryHandlerTest, AdapterWithoutASerialNumberIsIdentifiedByItsAddress) {
    set_domain("02:00:00:00:00:0A");
    modems.add_adapter(first, "");

    run_pass();

    EXPECT_THAT(agents(), ElementsAre(first));
    EXPECT_EQ(manager.get_agents().count(first), 1U);
}

TEST_F(GhnDiscoveryHandlerTest, AdaptersAreFoundInTheOrderOfTheList) {
    set_domain(joined(second, joined(controller, first)));
    modems.add_adapter(first, "SN-1");
    modems.add_adapter(second, "SN-2");

    run_pass();

    EXPECT_THAT(agents(), ElementsAre("SN-1", "SN-2"));
    EXPECT_THAT(lines(), ElementsAre(start, found(second), found(first)));
}

TEST_F(GhnDiscoveryHandlerTest, KnownAdapterIsClassifiedAndNotSpawnedAgain) {
    set_domain(first);
    modems.add_adapter(first, "SN-1");
    run_pass();
    const std::size_t calls_before = modems.calls().size();

    run_pass();

    EXPECT_FALSE(is_aborted("SN-1"));
    EXPECT_EQ(modems.calls().size(), calls_before + 2);
    EXPECT_EQ(count_calls_with(type_parameter), 3U);
    EXPECT_THAT(lines(), ElementsAre(start, found(first), start));
}

TEST_F(GhnDiscoveryHandlerTest, OtherKindsOfModemsAreIgnoredInEveryPass) {
    set_domain(first);
    modems.answer(first, type_parameter, "ERROR -36");

    run_pass();
    run_pass();

    EXPECT_THAT(manager.get_agents(), IsEmpty());
    EXPECT_EQ(count_calls_with(type_parameter), 2U);
    EXPECT_THAT(lines(), ElementsAre(start, ignored(first), start, ignored(first)));
}

TEST_F(GhnDiscoveryHandlerTest, UnresponsiveModemIsQueriedAgainInTheNextPass) {
    set_domain(first);
    run_pass();

    modems.add_adapter(first, "SN-1");
    run_pass();

    EXPECT_THAT(agents(), ElementsAre("SN-1"));
    EXPECT_THAT(lines(), ElementsAre(start, ignored(first), start, found(first)));
}

TEST_F(GhnDiscoveryHandlerTest, DuplicateAddressIsOneAdapter) {
    set_domain(joined(first, joined("02:00:00:00:00:0A", first)));
    modems.add_adapter(first, "SN-1");

    run_pass();

    EXPECT_THAT(agents(), ElementsAre("SN-1"));
    EXPECT_THAT(lines(), ElementsAre(start, found(first)));
    EXPECT_EQ(count_calls_with(type_parameter), 2U);
}

TEST_F(GhnDiscoveryHandlerTest, DuplicateAddressOfAnIgnoredModemIsQueriedTwice) {
    set_domain(joined(first, first));

    run_pass();

    EXPECT_THAT(lines(), ElementsAre(start, ignored(first), ignored(first)));
}

TEST_F(GhnDiscoveryHandlerTest, ZeroAddressIsNoAdapter) {
    set_domain(joined("00:00:00:00:00:00", first));
    modems.add_adapter("00:00:00:00:00:00", "SN-0");
    modems.add_adapter(first, "SN-1");

    run_pass();

    EXPECT_THAT(agents(), ElementsAre("SN-1"));
    EXPECT_EQ(count_calls_with("-m 00:00:00:00:00:00"), 0U);
}

TEST_F(GhnDiscoveryHandlerTest, ConsecutiveCommasAreOneSeparator) {
    set_domain(std::string{first} + ",,," + second);
    modems.add_adapter(first, "SN-1");
    modems.add_adapter(second, "SN-2");

    run_pass();

    EXPECT_THAT(agents(), ElementsAre("SN-1", "SN-2"));
}

TEST_F(GhnDiscoveryHandlerTest, ListWithAnEmptyItemIsEmpty) {
    modems.add_adapter(first, "SN-1");
    const std::string mac = first;
    for (const std::string& list :
         {std::string{}, std::string{","}, "," + mac, mac + ",", ",," + mac + ",,", mac + ", ",
          std::string{"nonsense,"}, std::string{",nonsense"}}) {
        set_domain(list);

        run_pass();

        EXPECT_THAT(agents(), IsEmpty()) << list;
    }
    EXPECT_EQ(count_calls_with(type_parameter), 0U);
}

TEST_F(GhnDiscoveryHandlerTest, ListWithAnythingButAddressesIsAnError) {
    modems.add_adapter(first, "SN-1");
    const std::string mac = first;
    for (const std::string& list :
         {std::string{"nonsense"}, mac + ",nonsense", mac + ", " + mac, mac + ";" + mac,
          "ERROR -36" + mac, std::string{"02:00:00:00:00:0g"}, mac + "\nOTHER=1"}) {
        set_domain(list);
        try {
            run_pass();
            ADD_FAILURE() << list << " was taken";
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), "mac") << list;
            EXPECT_NE(dynamic_cast<const boost::exception*>(&error), nullptr);
        }
        EXPECT_THAT(agents(), IsEmpty()) << list;
    }
    EXPECT_THAT(manager.get_agents(), IsEmpty());
}

TEST_F(GhnDiscoveryHandlerTest, UnresponsiveControllerIsAnError) {
    modems.forget(controller, "DIDMNG.GENERAL.MACS");

    EXPECT_THROW(run_pass(), ghn::ConfigLayerFailedException);
}

TEST_F(GhnDiscoveryHandlerTest, AdapterThatDoesNotReportItsPropertiesIsLeftOut) {
    set_domain(joined(first, second));
    modems.add_adapter(first, "SN-1");
    modems.forget(first, "SYSTEM.PRODUCTION.HW_PRODUCT");
    modems.add_adapter(second, "SN-2");

    run_pass();

    EXPECT_THAT(agents(), ElementsAre("SN-2"));
    EXPECT_THAT(lines(),
                ElementsAre(start, found(first), left_out(first) + "configlayer returned an error",
                            found(second)));
}

TEST_F(GhnDiscoveryHandlerTest, AdapterThatAnswersNonsenseIsLeftOutWithOneWarning) {
    set_domain(joined(first, second));
    modems.add_adapter(first, "SN-1");
    modems.answer_text(first, type_parameter, "nonsense");
    modems.add_adapter(second, "SN-2");

    run_pass();

    EXPECT_THAT(agents(), ElementsAre("SN-2"));
    EXPECT_THAT(
        lines(),
        ElementsAre(start, left_out(first) + "configlayer returned data in an unknown format",
                    found(second)));
    EXPECT_THAT(logged_after(" WARNING ghn_discovery_handler.cpp:", log.text()), SizeIs(1));
}

TEST_F(GhnDiscoveryHandlerTest, AdapterThatWasLeftOutIsAskedAgainInTheNextPass) {
    set_domain(first);
    modems.add_adapter(first, "SN-1");
    modems.answer_text(first, "SYSTEM.PRODUCTION.SERIAL_NUMBER", "nonsense");
    run_pass();

    modems.add_adapter(first, "SN-1");
    run_pass();

    EXPECT_THAT(agents(), ElementsAre("SN-1"));
}

TEST_F(GhnDiscoveryHandlerTest, ReasonForLeavingOutIsLoggedOncePerChange) {
    const std::string nonsense = left_out(first) + "configlayer returned data in an unknown format";
    const std::string failed = left_out(first) + "configlayer returned an error";
    const auto pass_lines = [&] {
        const std::size_t before = lines().size();
        run_pass();
        std::vector<std::string> all = lines();
        return std::vector<std::string>(all.begin() + static_cast<std::ptrdiff_t>(before) + 1,
                                        all.end());
    };
    set_domain(first);
    modems.add_adapter(first, "SN-1");
    modems.answer_text(first, type_parameter, "nonsense");
    EXPECT_THAT(pass_lines(), ElementsAre(nonsense));
    EXPECT_THAT(pass_lines(), IsEmpty());
    // another reason
    modems.answer(first, type_parameter, "YES");
    modems.forget(first, "SYSTEM.PRODUCTION.HW_PRODUCT");
    EXPECT_THAT(pass_lines(), ElementsAre(found(first), failed));
    EXPECT_THAT(pass_lines(), ElementsAre(found(first)));
    // a sensible answer in between
    modems.answer(first, type_parameter, "ERROR -36");
    EXPECT_THAT(pass_lines(), ElementsAre(ignored(first)));
    modems.answer(first, type_parameter, "YES");
    EXPECT_THAT(pass_lines(), ElementsAre(found(first), failed));
    // an absence in between
    set_domain(controller);
    EXPECT_THAT(pass_lines(), IsEmpty());
    set_domain(first);
    EXPECT_THAT(pass_lines(), ElementsAre(found(first), failed));
}

TEST_F(GhnDiscoveryHandlerTest, ErrorIsNoSerialNumber) {
    set_domain(joined(first, second));
    modems.add_adapter(first, "ERROR -36");
    modems.add_adapter(second, "ERROR");

    run_pass();

    EXPECT_THAT(agents(), ElementsAre(first, second));
}

TEST_F(GhnDiscoveryHandlerTest, SerialNumberMayContainTheWordError) {
    set_domain(first);
    modems.add_adapter(first, "SN-ERROR");

    run_pass();

    EXPECT_THAT(agents(), ElementsAre("SN-ERROR"));
}

TEST_F(GhnDiscoveryHandlerTest, DestructionEndsAPassWhoseToolHangs) {
    const TemporaryDirectory signs;
    set_domain(joined(first, second));
    const std::string hang = "touch '" + signs.path("hangs") + "'; exec sleep 60";
    for (const std::string hanging : {"DIDMNG.*", "DHCP.*", "SYSTEM.*"}) {
        modems.replace_tool("for word; do last=$word; done\ncase $last in\n" + hanging + ") " +
                            hang + R"( ;;
                DIDMNG*) echo "$last=02:00:00:00:00:0a,02:00:00:00:00:0b" ;;
                *) echo "$last=YES" ;;
            esac)");
        auto passing =
            std::make_unique<GhnDiscoveryHandler>(test::PassClock::period, clock.reader());
        passing->setup(&manager);
        clock.start_pass(*passing);
        while (!signs.has("hangs")) {
            std::this_thread::yield();
        }
        const std::size_t calls = modems.calls().size();

        const auto before = std::chrono::steady_clock::now();
        passing.reset();

        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds{20}) << hanging;
        EXPECT_EQ(modems.calls().size(), calls) << hanging;
        std::filesystem::remove(signs.path("hangs"));
    }
    EXPECT_THAT(agents(), IsEmpty());
    EXPECT_THAT(log.text(), Not(HasSubstr("ghn_leaving_out_device")));
}

}  // namespace
}  // namespace zephran::discovery
