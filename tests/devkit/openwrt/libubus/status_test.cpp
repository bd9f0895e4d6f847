// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

extern "C" {
#include <libubus.h>
}

namespace zephran::ubus_standin {

TEST(UbusStrerror, NamesEveryStatus) {
    EXPECT_STREQ(ubus_strerror(0), "Success");
    EXPECT_STREQ(ubus_strerror(1), "Invalid command");
    EXPECT_STREQ(ubus_strerror(2), "Invalid argument");
    EXPECT_STREQ(ubus_strerror(3), "Method not found");
    EXPECT_STREQ(ubus_strerror(4), "Not found");
    EXPECT_STREQ(ubus_strerror(5), "No response");
    EXPECT_STREQ(ubus_strerror(6), "Permission denied");
    EXPECT_STREQ(ubus_strerror(7), "Request timed out");
    EXPECT_STREQ(ubus_strerror(8), "Operation not supported");
    EXPECT_STREQ(ubus_strerror(9), "Unknown error");
    EXPECT_STREQ(ubus_strerror(10), "Connection failed");
    EXPECT_STREQ(ubus_strerror(11), "Out of memory");
    EXPECT_STREQ(ubus_strerror(12), "Parsing message data failed");
    EXPECT_STREQ(ubus_strerror(13), "System error");
}

TEST(UbusStrerror, NumbersTheRest) {
    EXPECT_STREQ(ubus_strerror(14), "Unknown error: 14");
    EXPECT_STREQ(ubus_strerror(-1), "Unknown error: -1");
}

}  // namespace zephran::ubus_standin
