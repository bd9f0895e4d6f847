// SPDX-License-Identifier: Apache-2.0
#include "openwrt/uci_config_wrapper.h"

#include <boost/exception/diagnostic_information.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ghn/ghn_config.h"
#include "store/device_store.h"
#include "support/captured_log.h"
#include "support/device_configuration.h"
#include "uci/exceptions.h"

namespace zephran::platform::openwrt {

namespace {

using testing::HasSubstr;

class UciConfigWrapperTest : public testing::Test {
protected:
    UciConfigWrapperTest() { device.set("zephran", "service", "option enabled '1'"); }

    DeviceConfiguration device;
    UciConfigWrapper wrapper;
};

TEST_F(UciConfigWrapperTest, ReadsTheStoreOfTheDevice) {
    EXPECT_TRUE(wrapper.has_option("zephran.service.enabled"));
    EXPECT_FALSE(wrapper.has_option("zephran.service.absent"));
    EXPECT_EQ(wrapper.get_option("zephran.service.enabled"), "1");
    EXPECT_THROW((void)wrapper.get_option("zephran.service.absent"), PackageNotFoundException);
}

TEST_F(UciConfigWrapperTest, MissingOptionIsANeutralExceptionWithTheTextsOfUci) {
    try {
        const std::string value = wrapper.get_option("zephran.service.absent");
        FAIL() << "returned " << value;
    } catch (const OptionNotFoundException& error) {
        EXPECT_STREQ(error.what(), "UCI package was not found");
        const std::string text = boost::diagnostic_information(error);
        EXPECT_THAT(text, HasSubstr("Dynamic exception type: zephran::PackageNotFoundException\n"));
        EXPECT_THAT(text, HasSubstr("[zephran::record::config_key_tag*] = zephran.service.absent"));
    }
}

TEST_F(UciConfigWrapperTest, WritesTheStoreOfTheDevice) {
    EXPECT_TRUE(wrapper.set_option("zephran.service.rebooted", "1"));
    EXPECT_FALSE(wrapper.set_option("zephran.absent.rebooted", "1"));

    EXPECT_THAT(device.stored("zephran"), HasSubstr("\toption rebooted '1'\n"));
}

TEST_F(UciConfigWrapperTest, DeletesFromTheStoreOfTheDevice) {
    EXPECT_TRUE(wrapper.delete_option("zephran.service.enabled"));
    EXPECT_FALSE(wrapper.delete_option("zephran.service.absent"));

    EXPECT_EQ(device.pending("zephran"), "-zephran.service.enabled\n");
}

/// Asks for the user's switch through all layers.
class AutomaticUpdatesOfTheDevice : public UciConfigWrapperTest {
protected:
    [[nodiscard]] bool are_enabled() {
        return DeviceStore{wrapper}.is_automatic_update_enabled({"guard"});
    }

    CapturedLog log;
};

TEST_F(AutomaticUpdatesOfTheDevice, AreOffWhileTheFileDoesNotParse) {
    const std::string half = "option automatic_update '0'\n\toption log_level 'IN";
    device.set("zephran", "service", half);
    const std::string before = device.stored("zephran");

    EXPECT_FALSE(are_enabled());

    EXPECT_EQ(device.stored("zephran"), before);
    EXPECT_THAT(log.text(), HasSubstr("cannot be read"));
    EXPECT_THAT(log.text(), HasSubstr(" package=zephran "));
}

TEST_F(AutomaticUpdatesOfTheDevice, AreOffIfTheOptionIsAListWhichStays) {
    device.set("zephran", "service", "list automatic_update '0'");
    const std::string before = device.stored("zephran");

    EXPECT_FALSE(are_enabled());

    EXPECT_EQ(device.stored("zephran"), before);
    EXPECT_EQ(device.pending("zephran"), "");
}

TEST_F(AutomaticUpdatesOfTheDevice, AreOnAndStoredIfTheOptionIsMissing) {
    EXPECT_TRUE(are_enabled());

    EXPECT_THAT(device.stored("zephran"), HasSubstr("option automatic_update '1'"));
    EXPECT_THAT(log.text(), HasSubstr("missing config entry, setting default enabled"));
}

/// Reads the powerline options through all layers.
class GhnConfigOfTheDevice : public testing::Test {
protected:
    [[nodiscard]] ghn::GhnConfig ghn_config() { return DeviceStore{wrapper}.ghn_config(); }

    CapturedLog log;
    DeviceConfiguration device;
    UciConfigWrapper wrapper;
};

TEST_F(GhnConfigOfTheDevice, IsReadFromFourOptions) {
    device.set("ghn", "ghn", "option interface 'br-lan'\noption password 'common'");
    device.set("nevra", "baptization", "option LirnMacAddress '02:00:00:00:00:01'");
    EXPECT_EQ(ghn_config().get_interface(), "br-lan");
    EXPECT_EQ(ghn_config().get_password(), "common");
    EXPECT_EQ(ghn_config().get_controller_mac().str(), "02:00:00:00:00:01");

    device.set("nevra-private", "baptization", "option PwdGhnConfig 'own'");
    EXPECT_EQ(ghn_config().get_password(), "own");
}

TEST_F(GhnConfigOfTheDevice, AbsentOptionsOfAPackageAreEmpty) {
    device.set("ghn", "ghn", "option enabled '1'");
    device.set("nevra", "baptization", "option SerialNumber '1'");
    device.set("nevra-private", "baptization", "option Other '1'");

    EXPECT_EQ(ghn_config().get_interface(), "");
    EXPECT_EQ(ghn_config().get_password(), "");
    EXPECT_FALSE(ghn_config().get_controller_mac().is_valid());
    EXPECT_EQ(log.text(), "");
}

TEST_F(GhnConfigOfTheDevice, ListIsNoInterface) {
    device.set("ghn", "ghn", "list interface 'br-lan'\nlist interface 'eth1'");

    EXPECT_EQ(ghn_config().get_interface(), "");
}

TEST_F(GhnConfigOfTheDevice, ListIsNoOwnPassword) {
    device.set("ghn", "ghn", "option password 'common'");
    device.set("nevra-private", "baptization", "list PwdGhnConfig 'own'");

    EXPECT_EQ(ghn_config().get_password(), "common");
}

TEST_F(GhnConfigOfTheDevice, ListIsNoControllerAddress) {
    device.set("nevra", "baptization", "list LirnMacAddress '02:00:00:00:00:01'");

    EXPECT_FALSE(ghn_config().get_controller_mac().is_valid());
    EXPECT_EQ(log.text(), "");
}

}  // namespace

}  // namespace zephran::platform::openwrt
