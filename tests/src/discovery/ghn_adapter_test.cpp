// SPDX-License-Identifier: Apache-2.0
#include "discovery/ghn_adapter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/popen.h"
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

}  // namespace
}  // namespace zephran::discovery
