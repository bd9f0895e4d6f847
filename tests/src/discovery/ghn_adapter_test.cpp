// SPDX-License-Identifier: Apache-2.0
#include "discovery/ghn_adapter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/popen.h"
#include "ghn/exceptions.h"
#include "support/simulated_modems.h"

namespace zephran::discovery {
namespace {

using ::testing::ElementsAre;

TEST(GhnAdapter, OnlyAcceptsPowerlineFirmware) {
    const SimulatedModems modems;
    modems.add_adapter("02:00:00:00:00:0a", "SN-1");
    ghn::ConfigLayerCommand command;
    command.mac_address("02:00:00:00:00:0a");

    const GhnAdapter adapter = ask_adapter(common::MacAddress::parse("02:00:00:00:00:0A"), command,
                                           common::no_stop_request);

    EXPECT_EQ(adapter.id, "SN-1");
    EXPECT_THAT(adapter.context.accepted_parts, ElementsAre("plc_ghn"));
    EXPECT_EQ(adapter.context.mac_address.str(), "02:00:00:00:00:0a");
    EXPECT_EQ(adapter.context.installed_flash_type, "");
    EXPECT_EQ(adapter.context.bootloader_mtd, "");
    EXPECT_EQ(adapter.context.mtd_write_attempts, 0U);
}

TEST(GhnAdapter, IdNeverHoldsThePassword) {
    const SimulatedModems modems;
    modems.add_adapter("02:00:00:00:00:0a", "SN-1");
    modems.answer("02:00:00:00:00:0a", "SYSTEM.PRODUCTION.SERIAL_NUMBER",
                  "SN-1\nconfiglayer -w s3cr3t-of-the-home");
    ghn::ConfigLayerCommand command;
    command.mac_address("02:00:00:00:00:0a").password("s3cr3t-of-the-home");

    const GhnAdapter adapter = ask_adapter(common::MacAddress::parse("02:00:00:00:00:0A"), command,
                                           common::no_stop_request);

    EXPECT_EQ(adapter.id, "02:00:00:00:00:0a");
}

TEST(GhnAdapter, TalkativeOneIsRefused) {
    for (const char* const parameter :
         {"SYSTEM.PRODUCTION.PRODUCT_CLASS", "SYSTEM.PRODUCTION.DEVICE_NAME",
          "SYSTEM.PRODUCTION.HW_REVISION", "SYSTEM.PRODUCTION.HW_PRODUCT",
          "SYSTEM.GENERAL.FW_VERSION", "SYSTEM.PRODUCTION.SERIAL_NUMBER"}) {
        const SimulatedModems modems;
        modems.add_adapter("02:00:00:00:00:0a", "SN-1");
        ghn::ConfigLayerCommand command;
        command.mac_address("02:00:00:00:00:0a");
        const auto mac = common::MacAddress::parse("02:00:00:00:00:0A");

        modems.answer("02:00:00:00:00:0a", parameter, std::string(256, '1'));
        EXPECT_NO_THROW(static_cast<void>(ask_adapter(mac, command, common::no_stop_request)))
            << parameter;
        modems.answer("02:00:00:00:00:0a", parameter, "2" + std::string(256, '1'));
        try {
            static_cast<void>(ask_adapter(mac, command, common::no_stop_request));
            ADD_FAILURE() << parameter;
        } catch (const ghn::ConfigLayerFormatException& error) {
            EXPECT_EQ(*boost::get_error_info<ghn::configlayer_output_tag>(error),
                      "2" + std::string(255, '1'));
        }
    }
}

TEST(GhnAdapter, TalkativeOneThatRepeatsThePasswordDoesNotTellIt) {
    const SimulatedModems modems;
    modems.add_adapter("02:00:00:00:00:0a", "SN-1");
    ghn::ConfigLayerCommand command;
    command.password("hush").mac_address("02:00:00:00:00:0a");
    // The second one stands where the record is cut off.
    modems.answer("02:00:00:00:00:0a", "SYSTEM.PRODUCTION.DEVICE_NAME",
                  "hush" + std::string(250, '1') + "hush" + std::string(256, '2'));
    try {
        static_cast<void>(ask_adapter(common::MacAddress::parse("02:00:00:00:00:0A"), command,
                                      common::no_stop_request));
        ADD_FAILURE();
    } catch (const ghn::ConfigLayerFormatException& error) {
        EXPECT_EQ(*boost::get_error_info<ghn::configlayer_output_tag>(error),
                  "***" + std::string(250, '1') + "***");
    }
}

}  // namespace
}  // namespace zephran::discovery
