// SPDX-License-Identifier: Apache-2.0
#include "discovery/ghn_discovery_handler.h"

#include <stdexcept>
#include <string>

#include <boost/exception/exception.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ghn/exceptions.h"
#include "support/ghn_discovery_test.h"

namespace zephran::discovery {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
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

TEST_F(GhnDiscoveryHandlerTest, NetworkWithoutDevicesYieldsNoAgents) {
    run_pass();

    EXPECT_THAT(modems.calls(),
                ElementsAre("configlayer -i br-lan -w hush -m 02:00:00:00:00:01 -o GET -p "
                            "DIDMNG.GENERAL.MACS"));
    EXPECT_THAT(manager.get_agents(), IsEmpty());
    EXPECT_THAT(lines(), ElementsAre(start));
}

TEST_F(GhnDiscoveryHandlerTest, DeviceReportsItsProperties) {
    set_domain(joined(controller, first));
    modems.add_device(first, "SN-1");

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
    modems.add_device(first, "SN-1");
    modems.answer_text(first, "SYSTEM.PRODUCTION.DEVICE_NAME",
                       "SYSTEM.PRODUCTION.DEVICE_NAME=Socket 2\nconfiglayer -w hush\n");

    run_pass();

    EXPECT_EQ(manager.get_agents().at("SN-1")->attributes().at("device_name"),
              "Socket 2\nconfiglayer -w ***");
}

TEST_F(GhnDiscoveryHandlerTest, DeviceOnlyAcceptsPowerlineFirmware) {
    set_domain(first);
    modems.add_device(first, "SN-1");

    run_pass();

    ASSERT_THAT(handler.spawn_requests(), SizeIs(1));
    const InstallerContext& context = handler.spawn_requests().front().context;
    EXPECT_THAT(context.accepted_parts, ElementsAre("plc_ghn"));
    EXPECT_EQ(context.mac_address.str(), first);
    EXPECT_EQ(context.installed_flash_type, "");
    EXPECT_EQ(context.bootloader_mtd, "");
    EXPECT_EQ(context.mtd_write_attempts, 0U);
}

TEST_F(GhnDiscoveryHandlerTest, NewDeviceIsQueriedWithTheConfiguredAccessAndClassifiedTwice) {
    set_domain(first);
    modems.add_device(first, "SN-1");

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

TEST_F(GhnDiscoveryHandlerTest, DeviceWithoutASerialNumberIsIdentifiedByItsAddress) {
    set_domain("02:00:00:00:00:0A");
    modems.add_device(first, "");

    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre(first));
    EXPECT_EQ(manager.get_agents().count(first), 1U);
}

TEST_F(GhnDiscoveryHandlerTest, DevicesAreFoundInTheOrderOfTheList) {
    set_domain(joined(second, joined(controller, first)));
    modems.add_device(first, "SN-1");
    modems.add_device(second, "SN-2");

    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre("SN-2", "SN-1"));
    EXPECT_THAT(lines(), ElementsAre(start, found(second), found(first)));
}

TEST_F(GhnDiscoveryHandlerTest, KnownDeviceIsClassifiedAndNotSpawnedAgain) {
    set_domain(first);
    modems.add_device(first, "SN-1");
    run_pass();
    const std::size_t calls_before = modems.calls().size();

    run_pass();

    EXPECT_THAT(handler.spawn_requests(), IsEmpty());
    EXPECT_THAT(handler.abort_requests(), IsEmpty());
    EXPECT_EQ(modems.calls().size(), calls_before + 2);
    EXPECT_EQ(count_calls_with(type_parameter), 3U);
    EXPECT_THAT(lines(), ElementsAre(start, found(first), start));
}

TEST_F(GhnDiscoveryHandlerTest, OtherKindsOfDevicesAreIgnoredInEveryPass) {
    set_domain(first);
    modems.answer(first, type_parameter, "ERROR -36");

    run_pass();
    run_pass();

    EXPECT_THAT(manager.get_agents(), IsEmpty());
    EXPECT_EQ(count_calls_with(type_parameter), 2U);
    EXPECT_THAT(lines(), ElementsAre(start, ignored(first), start, ignored(first)));
}

TEST_F(GhnDiscoveryHandlerTest, UnresponsiveDeviceIsQueriedAgainInTheNextPass) {
    set_domain(first);
    run_pass();

    modems.add_device(first, "SN-1");
    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre("SN-1"));
    EXPECT_THAT(lines(), ElementsAre(start, ignored(first), start, found(first)));
}

TEST_F(GhnDiscoveryHandlerTest, DuplicateAddressIsOneDevice) {
    set_domain(joined(first, joined("02:00:00:00:00:0A", first)));
    modems.add_device(first, "SN-1");

    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre("SN-1"));
    EXPECT_THAT(lines(), ElementsAre(start, found(first)));
    EXPECT_EQ(count_calls_with(type_parameter), 2U);
}

TEST_F(GhnDiscoveryHandlerTest, DuplicateAddressOfAnIgnoredDeviceIsQueriedTwice) {
    set_domain(joined(first, first));

    run_pass();

    EXPECT_THAT(lines(), ElementsAre(start, ignored(first), ignored(first)));
}

TEST_F(GhnDiscoveryHandlerTest, ZeroAddressIsNoDevice) {
    set_domain(joined("00:00:00:00:00:00", first));
    modems.add_device("00:00:00:00:00:00", "SN-0");
    modems.add_device(first, "SN-1");

    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre("SN-1"));
    EXPECT_EQ(count_calls_with("-m 00:00:00:00:00:00"), 0U);
}

TEST_F(GhnDiscoveryHandlerTest, ConsecutiveCommasAreOneSeparator) {
    set_domain(std::string{first} + ",,," + second);
    modems.add_device(first, "SN-1");
    modems.add_device(second, "SN-2");

    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre("SN-1", "SN-2"));
}

TEST_F(GhnDiscoveryHandlerTest, ListWithAnEmptyItemIsEmpty) {
    modems.add_device(first, "SN-1");
    const std::string mac = first;
    for (const std::string& list :
         {std::string{}, std::string{","}, "," + mac, mac + ",", ",," + mac + ",,", mac + ", ",
          std::string{"nonsense,"}, std::string{",nonsense"}}) {
        set_domain(list);

        run_pass();

        EXPECT_THAT(handler.spawn_requests(), IsEmpty()) << list;
    }
    EXPECT_EQ(count_calls_with(type_parameter), 0U);
}

TEST_F(GhnDiscoveryHandlerTest, ListWithAnythingButAddressesIsAnError) {
    modems.add_device(first, "SN-1");
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
        EXPECT_THAT(handler.spawn_requests(), IsEmpty()) << list;
    }
    EXPECT_THAT(manager.get_agents(), IsEmpty());
}

TEST_F(GhnDiscoveryHandlerTest, UnresponsiveControllerIsAnError) {
    modems.forget(controller, "DIDMNG.GENERAL.MACS");

    EXPECT_THROW(run_pass(), ghn::ConfigLayerFailedException);
}

TEST_F(GhnDiscoveryHandlerTest, DeviceThatDoesNotReportItsPropertiesIsLeftOut) {
    set_domain(joined(first, second));
    modems.add_device(first, "SN-1");
    modems.forget(first, "SYSTEM.PRODUCTION.HW_PRODUCT");
    modems.add_device(second, "SN-2");

    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre("SN-2"));
    EXPECT_THAT(lines(),
                ElementsAre(start, found(first), left_out(first) + "configlayer returned an error",
                            found(second)));
}

TEST_F(GhnDiscoveryHandlerTest, DeviceThatAnswersNonsenseIsLeftOutWithOneWarning) {
    set_domain(joined(first, second));
    modems.add_device(first, "SN-1");
    modems.answer_text(first, type_parameter, "nonsense");
    modems.add_device(second, "SN-2");

    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre("SN-2"));
    EXPECT_THAT(
        lines(),
        ElementsAre(start, left_out(first) + "configlayer returned data in an unknown format",
                    found(second)));
    EXPECT_THAT(logged_after(" WARNING ghn_discovery_handler.cpp:", log.text()), SizeIs(1));
}

TEST_F(GhnDiscoveryHandlerTest, DeviceThatWasLeftOutIsAskedAgainInTheNextPass) {
    set_domain(first);
    modems.add_device(first, "SN-1");
    modems.answer_text(first, "SYSTEM.PRODUCTION.SERIAL_NUMBER", "nonsense");
    run_pass();

    modems.add_device(first, "SN-1");
    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre("SN-1"));
}

TEST_F(GhnDiscoveryHandlerTest, NoMoreThan128DevicesBecomeAgents) {
    for (unsigned number = 1; number < 128; ++number) {
        handler.spawn_agent("SN-" + std::to_string(number), {}, {});
    }
    set_domain(joined(first, second));
    modems.add_device(first, "");
    modems.add_device(second, "SN-129");

    run_pass();
    EXPECT_THAT(handler.requested_ids(), ElementsAre(first));
    EXPECT_EQ(count_calls_with("-m 02:00:00:00:00:0b"), 0U);
    EXPECT_THAT(lines(), ElementsAre(start, found(first), "event=ghn_too_many_devices limit=128"));
    EXPECT_THAT(logged_after(" WARNING ghn_discovery_handler.cpp:", log.text()), SizeIs(1));
    set_domain(second);
    run_pass();
    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre("SN-129"));
}

TEST_F(GhnDiscoveryHandlerTest, ErrorIsNoSerialNumber) {
    set_domain(joined(first, second));
    modems.add_device(first, "ERROR -36");
    modems.add_device(second, "ERROR -36");

    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre(first, second));
}

TEST_F(GhnDiscoveryHandlerTest, SerialNumberMayContainTheWordError) {
    set_domain(first);
    modems.add_device(first, "SN-ERROR");

    run_pass();

    EXPECT_THAT(handler.requested_ids(), ElementsAre("SN-ERROR"));
}

TEST_F(GhnDiscoveryHandlerTest, DestructionDuringAPassWaitsForTheTool) {
    const TemporaryDirectory signs;
    modems.replace_tool("touch '" + signs.path("ended") + "'; exit 1");

    {
        GhnDiscoveryHandler passing{test::PassClock::period, clock.reader()};
        clock.start_pass(passing);
    }

    EXPECT_TRUE(signs.has("ended"));
}

}  // namespace
}  // namespace zephran::discovery
