#include "openwrt/uci_config_wrapper.h"

#include <gtest/gtest.h>

#include "support/redirected_uci.h"
#include "uci/exceptions.h"

namespace zephran::platform::openwrt {

namespace {

/// Puts the process-wide store on the stand-in while a test runs.
class UciConfigWrapperTest : public testing::Test {
protected:
    UciConfigWrapperTest() {
        uci.directory.write("config/zephran", "config service 'service'\n\toption enabled '1'\n");
        UciConfig::Default = UciConfig{"", uci.environment()};
    }
    ~UciConfigWrapperTest() override { UciConfig::Default = original; }

    UciConfig original = UciConfig::Default;
    RedirectedUci uci;
    UciConfigWrapper wrapper;
};

TEST_F(UciConfigWrapperTest, ReadsTheStoreOfTheDevice) {
    EXPECT_TRUE(wrapper.has_option("zephran.service.enabled"));
    EXPECT_FALSE(wrapper.has_option("zephran.service.absent"));
    EXPECT_EQ(wrapper.get_option("zephran.service.enabled"), "1");
    EXPECT_THROW((void)wrapper.get_option("zephran.service.absent"), PackageNotFoundException);
}

TEST_F(UciConfigWrapperTest, WritesTheStoreOfTheDevice) {
    EXPECT_TRUE(wrapper.set_option("zephran.service.rebooted", "1"));
    EXPECT_FALSE(wrapper.set_option("zephran.absent.rebooted", "1"));

    EXPECT_NE(uci.directory.read("config/zephran").find("\toption rebooted '1'\n"),
              std::string::npos);
}

TEST_F(UciConfigWrapperTest, DeletesFromTheStoreOfTheDevice) {
    EXPECT_TRUE(wrapper.delete_option("zephran.service.enabled"));
    EXPECT_FALSE(wrapper.delete_option("zephran.service.absent"));

    EXPECT_EQ(uci.directory.read("saved/zephran"), "-zephran.service.enabled\n");
}

}  // namespace

}  // namespace zephran::platform::openwrt
