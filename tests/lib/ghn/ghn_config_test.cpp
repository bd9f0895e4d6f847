#include "ghn/ghn_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/device_configuration.h"

namespace zephran::ghn {
namespace {

using ::testing::HasSubstr;

class GhnConfigTest : public testing::Test {
protected:
    void set_own_password(const std::string& password) const {
        store.set("nevra-private", "baptization", "option PwdGhnConfig '" + password + "'");
    }

    DeviceConfiguration store;
    CapturedLog log;
};

TEST_F(GhnConfigTest, NothingSetIsEmpty) {
    EXPECT_EQ(GhnConfig::get_interface(), "");
    EXPECT_EQ(GhnConfig::get_password(), "");
    EXPECT_FALSE(GhnConfig::get_controller_mac().is_valid());
    EXPECT_EQ(log.text(), "");
}

TEST_F(GhnConfigTest, AbsentOptionsOfAPackageAreEmpty) {
    store.set("ghn", "ghn", "option enabled '1'");
    store.set("nevra", "baptization", "option SerialNumber '1'");
    store.set("nevra-private", "baptization", "option Other '1'");

    EXPECT_EQ(GhnConfig::get_interface(), "");
    EXPECT_EQ(GhnConfig::get_password(), "");
    EXPECT_FALSE(GhnConfig::get_controller_mac().is_valid());
}

TEST_F(GhnConfigTest, InterfaceIsReadFromTheStore) {
    store.set_ghn("br-lan", "common");

    EXPECT_EQ(GhnConfig::get_interface(), "br-lan");
}

TEST_F(GhnConfigTest, ChangeOfTheStoreIsSeenAtOnce) {
    store.set_ghn("br-lan", "common");
    static_cast<void>(GhnConfig::get_interface());

    store.set_ghn("eth1", "common");

    EXPECT_EQ(GhnConfig::get_interface(), "eth1");
}

TEST_F(GhnConfigTest, ListIsNoInterface) {
    store.set("ghn", "ghn", "list interface 'br-lan'\nlist interface 'eth1'");

    EXPECT_EQ(GhnConfig::get_interface(), "");
}

TEST_F(GhnConfigTest, OwnPasswordGoesBeforeTheCommonOne) {
    store.set_ghn("br-lan", "common");
    set_own_password("own");

    EXPECT_EQ(GhnConfig::get_password(), "own");
}

TEST_F(GhnConfigTest, OwnPasswordAloneIsEnough) {
    set_own_password("own");

    EXPECT_EQ(GhnConfig::get_password(), "own");
}

TEST_F(GhnConfigTest, CommonPasswordStandsInForTheOwnOne) {
    store.set_ghn("br-lan", "common");

    EXPECT_EQ(GhnConfig::get_password(), "common");
}

TEST_F(GhnConfigTest, ListInPlaceOfTheOwnPasswordDoesNotCount) {
    store.set_ghn("br-lan", "common");
    store.set("nevra-private", "baptization", "list PwdGhnConfig 'own'");

    EXPECT_EQ(GhnConfig::get_password(), "common");
}

TEST_F(GhnConfigTest, PasswordKeepsItsBlanks) {
    set_own_password("two  words ");

    EXPECT_EQ(GhnConfig::get_password(), "two  words ");
}

TEST_F(GhnConfigTest, ControllerAddressIsReadInEitherCase) {
    store.set_controller_mac("02:00:5E:0a:0B:01");

    EXPECT_EQ(GhnConfig::get_controller_mac(),
              (common::MacAddress{0x02, 0x00, 0x5e, 0x0a, 0x0b, 0x01}));
    EXPECT_EQ(log.text(), "");
}

TEST_F(GhnConfigTest, ListIsNoControllerAddress) {
    store.set("nevra", "baptization", "list LirnMacAddress '02:00:00:00:00:01'");

    EXPECT_FALSE(GhnConfig::get_controller_mac().is_valid());
    EXPECT_EQ(log.text(), "");
}

TEST_F(GhnConfigTest, WrongControllerAddressIsLoggedAndCountsAsUnset) {
    for (const std::string text : {"02:00:00:00:00", "02-00-00-00-00-01", "02:00:00:00:00:0g"}) {
        store.set_controller_mac(text);

        EXPECT_FALSE(GhnConfig::get_controller_mac().is_valid());
        EXPECT_THAT(log.text(), HasSubstr("get_controller_mac: action=get_controller_mac "
                                          "message=not a MAC address "
                                          "key=nevra.baptization.LirnMacAddress value=" +
                                          text + "\n"));
    }
    EXPECT_THAT(log.text(), HasSubstr(" WARNING ghn_config.cpp:"));
}

}  // namespace
}  // namespace zephran::ghn
