// SPDX-License-Identifier: Apache-2.0
#include "uci/uci_config.h"

#include <gtest/gtest.h>

#include "uci/exceptions.h"
#include "uci/uci_library.h"

namespace zephran {

namespace {

class UciConfigWithoutLibrary : public testing::TestWithParam<const char*> {
protected:
    UciLibrary library{GetParam()};
    UciConfig config{"", {&library, {}}};
};

TEST_P(UciConfigWithoutLibrary, HasNoOption) {
    EXPECT_FALSE(config.has_option("zephran.schedule.enabled"));
}

TEST_P(UciConfigWithoutLibrary, ReadingAnOptionThrowsWithItsKey) {
    const std::string key = "zephran.service.rebooted";

    try {
        const std::string value = config.get_option(key);
        FAIL() << "returned " << value;
    } catch (const PackageNotFoundException& error) {
        EXPECT_STREQ(error.what(), "UCI package was not found");
        ASSERT_NE(boost::get_error_info<config_key_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<config_key_tag>(error), key);
        EXPECT_NE(boost::get_error_info<boost::throw_function>(error), nullptr);
        EXPECT_FALSE(error.unreadable);
    }
}

TEST_P(UciConfigWithoutLibrary, WritesNothing) {
    EXPECT_FALSE(config.set_option("zephran.service.rebooted", "1"));
    EXPECT_FALSE(config.delete_option("zephran.service.rebooted"));
}

INSTANTIATE_TEST_SUITE_P(Libraries, UciConfigWithoutLibrary,
                         testing::Values("/nonexistent/libuci.so", UCI_INCOMPLETE_PATH));

TEST(UciConfig, DefaultOverlaysTheRunTimeState) {
    EXPECT_EQ(UciConfig::Default.delta_path, "/tmp/state/");
}

TEST(UciConfig, DefaultUsesTheSystemLibrary) {
    if (UciLibrary::Default.available) {
        GTEST_SKIP() << "this machine has a configuration store, which is left alone";
    }

    EXPECT_FALSE(UciConfig::Default.has_option("zephran.schedule.enabled"));
    EXPECT_THROW((void)UciConfig::Default.get_option("zephran.schedule.enabled"),
                 PackageNotFoundException);
}

}  // namespace

}  // namespace zephran
