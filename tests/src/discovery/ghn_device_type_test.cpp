// SPDX-License-Identifier: Apache-2.0
#include "discovery/ghn_device_type.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/popen.h"
#include "ghn/exceptions.h"
#include "support/simulated_tools.h"

namespace zephran::discovery {
namespace {

using ::testing::ElementsAre;

class GhnDeviceTypeTest : public testing::Test {
protected:
    [[nodiscard]] DeviceType type_when(const std::string& script) const {
        tools.add("configlayer", script);
        return get_device_type(ghn::ConfigLayerCommand{}.interface("br-lan").password("hush"));
    }

    SimulatedTools tools;
};

TEST_F(GhnDeviceTypeTest, TypesHaveFixedNumbers) {
    EXPECT_EQ(static_cast<int>(DeviceType::unknown_parameter), 0);
    EXPECT_EQ(static_cast<int>(DeviceType::end_device), 1);
    EXPECT_EQ(static_cast<int>(DeviceType::no_answer), 2);
}

TEST_F(GhnDeviceTypeTest, DeviceIsAskedForOneParameter) {
    static_cast<void>(type_when("echo DHCP.GENERAL.ENABLED_IPV4=YES"));

    EXPECT_THAT(tools.calls(),
                ElementsAre("configlayer -i br-lan -w hush -o GET -p DHCP.GENERAL.ENABLED_IPV4"));
}

TEST_F(GhnDeviceTypeTest, DeviceWithTheParameterIsAnEndDeviceWhateverTheValue) {
    for (const std::string value : {"YES", "NO", "", "ERROR -35", "ERROR  -36", "error -36"}) {
        EXPECT_EQ(type_when("echo 'DHCP.GENERAL.ENABLED_IPV4=" + value + "'"),
                  DeviceType::end_device)
            << value;
    }
}

TEST_F(GhnDeviceTypeTest, DeviceWithoutTheParameterIsNoEndDevice) {
    EXPECT_EQ(type_when("echo 'DHCP.GENERAL.ENABLED_IPV4=ERROR -36'"),
              DeviceType::unknown_parameter);
}

TEST_F(GhnDeviceTypeTest, ErrorMayBeAnywhereInTheAnswer) {
    EXPECT_EQ(type_when("echo 'DHCP.GENERAL.ENABLED_IPV4=?'; echo 'failed: ERROR -361'"),
              DeviceType::unknown_parameter);
}

TEST_F(GhnDeviceTypeTest, FailedToolIsNoAnswerWhateverItsOutput) {
    EXPECT_EQ(type_when("echo DHCP.GENERAL.ENABLED_IPV4=YES; exit 1"), DeviceType::no_answer);
    EXPECT_EQ(type_when("echo 'DHCP.GENERAL.ENABLED_IPV4=ERROR -36'; exit 1"),
              DeviceType::no_answer);
}

TEST_F(GhnDeviceTypeTest, MissingToolIsNoAnswer) {
    EXPECT_EQ(get_device_type(ghn::ConfigLayerCommand{}), DeviceType::no_answer);
}

TEST_F(GhnDeviceTypeTest, AnswerInAnUnknownFormatIsAnError) {
    EXPECT_THROW(static_cast<void>(type_when("echo ERROR -36")), ghn::ConfigLayerFormatException);
}

TEST_F(GhnDeviceTypeTest, KilledToolIsAnError) {
    EXPECT_THROW(static_cast<void>(type_when("kill -9 0")), common::AbnormalTerminationException);
}

}  // namespace
}  // namespace zephran::discovery
