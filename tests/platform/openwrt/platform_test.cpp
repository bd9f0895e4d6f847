// SPDX-License-Identifier: Apache-2.0
#include "platform.h"

#include <gtest/gtest.h>

#include "agent_manager.h"
#include "openwrt/ubus_agent_manager.h"
#include "openwrt/uci_config_wrapper.h"

namespace zephran::platform {

namespace {

TEST(OpenWrtPlatform, DownloadsGoToTheMemoryFileSystem) {
    EXPECT_STREQ(get_temp_directory(), "/tmp/");
    EXPECT_STREQ(get_run_directory(), "/var/run/");
}

TEST(OpenWrtPlatform, WhatOutlivesAPowerCutIsInTheConfiguration) {
    EXPECT_STREQ(get_state_directory(), "/etc/zephran/");
}

TEST(OpenWrtPlatform, ConfigurationStoreIsASingleObject) {
    Config* const config = get_config();

    EXPECT_NE(dynamic_cast<openwrt::UciConfigWrapper*>(config), nullptr);
    EXPECT_EQ(get_config(), config);
}

TEST(OpenWrtPlatform, AgentManagerIsNewAndEmpty) {
    const auto first = create_agent_manager();
    const auto second = create_agent_manager();

    EXPECT_NE(dynamic_cast<openwrt::UbusAgentManager*>(first.get()), nullptr);
    EXPECT_NE(first, second);
    EXPECT_TRUE(first->get_agents().empty());
    EXPECT_EQ(first->gateway_id(), "");
}

}  // namespace

}  // namespace zephran::platform
