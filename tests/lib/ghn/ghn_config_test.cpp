// SPDX-License-Identifier: Apache-2.0
#include "ghn/ghn_config.h"

#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"

namespace zephran::ghn {
namespace {

using ::testing::HasSubstr;

class GhnConfigTest : public testing::Test {
protected:
    CapturedLog log;
    std::map<std::string, std::string> options;
    GhnConfig config{{"net.if", "pw.own", "pw.common", "net.mac"},
                     [this](const std::string& key) { return options[key]; }};
};

TEST_F(GhnConfigTest, UnsetOptionsAreEmpty) {
    EXPECT_EQ(config.get_interface(), "");
    EXPECT_EQ(config.get_password(), "");
    EXPECT_FALSE(config.get_controller_mac().is_valid());
    EXPECT_EQ(log.text(), "");
}

TEST_F(GhnConfigTest, InterfaceIsRead) {
    options["net.if"] = "br-lan";

    EXPECT_EQ(config.get_interface(), "br-lan");
}

TEST_F(GhnConfigTest, ChangesTakeEffectImmediately) {
    options["net.if"] = "br-lan";
    static_cast<void>(config.get_interface());

    options["net.if"] = "eth1";

    EXPECT_EQ(config.get_interface(), "eth1");
}

TEST_F(GhnConfigTest, OwnPasswordTakesPrecedence) {
    options["pw.common"] = "common";
    options["pw.own"] = "own";

    EXPECT_EQ(config.get_password(), "own");
}

TEST_F(GhnConfigTest, OwnPasswordIsSufficient) {
    options["pw.own"] = "own";

    EXPECT_EQ(config.get_password(), "own");
}

TEST_F(GhnConfigTest, CommonPasswordIsTheFallback) {
    options["pw.common"] = "common";

    EXPECT_EQ(config.get_password(), "common");
}

TEST_F(GhnConfigTest, SpacesInPasswordsAreKept) {
    options["pw.own"] = "two  words ";

    EXPECT_EQ(config.get_password(), "two  words ");
}

TEST_F(GhnConfigTest, ControllerAddressMayBeUpperOrLowerCase) {
    options["net.mac"] = "02:00:5E:0a:0B:01";

    EXPECT_EQ(config.get_controller_mac(),
              (common::MacAddress{0x02, 0x00, 0x5e, 0x0a, 0x0b, 0x01}));
    EXPECT_EQ(log.text(), "");
}

TEST_F(GhnConfigTest, InvalidControllerAddressIsLoggedAndCountsAsUnset) {
    for (const std::string text : {"02:00:00:00:00", "02-00-00-00-00-01", "02:00:00:00:00:0g"}) {
        options["net.mac"] = text;

        EXPECT_FALSE(config.get_controller_mac().is_valid());
        EXPECT_THAT(log.text(), HasSubstr("get_controller_mac: action=get_controller_mac "
                                          "message=not a MAC address key=net.mac value=" +
                                          text + "\n"));
    }
    EXPECT_THAT(log.text(), HasSubstr(" WARNING ghn_config.cpp:"));
}

}  // namespace
}  // namespace zephran::ghn
