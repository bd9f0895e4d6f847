// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdlib>
#include <string>

#include <boost/exception/errinfo_errno.hpp>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include "support/emulator.h"
#include "support/private_broker.h"
#include "support/refused_system_call.h"
#include "ubus/broker_connection.h"
#include "ubus/exceptions.h"

namespace zephran::test {
namespace {

/// Exits with 7 if a connection whose other end has no address fails with the reason.
[[noreturn]] void open_without_an_address(const std::string& socket) {
    const bool refused = refuse_system_call(SYS_getpeername, ENOTCONN);
    ubus::BrokerConnection connection{socket};
    try {
        connection.open();
    } catch (const ubus::UbusConnectException& error) {
        const int* const reason = boost::get_error_info<boost::errinfo_errno>(error);
        std::_Exit(refused && reason != nullptr && *reason == ENOTCONN ? 7 : 1);
    }
    std::_Exit(2);
}

TEST(BrokerConnectionDeathTest, BrokerWithoutAnAddressIsAFailureWithTheReason) {
    if (is_emulated()) {
        GTEST_SKIP() << "The filter would judge the system calls of the emulator";
    }
    const PrivateBroker broker;

    EXPECT_EXIT(open_without_an_address(broker.socket()), ::testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace zephran::test
