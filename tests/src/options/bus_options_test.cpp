// SPDX-License-Identifier: Apache-2.0
#include "options/bus_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/memory_config.h"

namespace zephran {
namespace {

struct ReadBusOptions : ::testing::Test {
    CapturedLog log;
    MemoryConfig config;
};

TEST_F(ReadBusOptions, AbsentOneExtendsNothingAndSaysNothing) {
    EXPECT_FALSE(read_bus_extended(config));
    EXPECT_THAT(log.text(), ::testing::IsEmpty());
}

TEST_F(ReadBusOptions, IsAFlagOfTheService) {
    config.values["zephran.service.bus_extended"] = "on";
    EXPECT_TRUE(read_bus_extended(config));

    config.values["zephran.service.bus_extended"] = "0";
    EXPECT_FALSE(read_bus_extended(config));
}

TEST_F(ReadBusOptions, BadValueIsNamedAndCountsAsAbsent) {
    config.values["zephran.service.bus_extended"] = "2";

    EXPECT_FALSE(read_bus_extended(config));
    EXPECT_THAT(log.text(), ::testing::HasSubstr("event=bad_option option=bus_extended value=2"));
}

}  // namespace
}  // namespace zephran
