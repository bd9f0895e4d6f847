// SPDX-License-Identifier: Apache-2.0
#include "ubus/ubus_context.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <future>

#include <boost/exception/errinfo_errno.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "support/captured_log.h"
#include "support/mute_broker.h"
#include "support/private_broker.h"
#include "support/temporary_directory.h"
#include "ubus/exceptions.h"

namespace zephran::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ubus::UbusContext;

constexpr std::chrono::milliseconds soon{10};

UbusContext::Environment impatient(const std::string& socket) {
    return {socket, soon, soon};
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

TEST(UbusContext, HasNoConnectionAtFirst) {
    const UbusContext context;

    EXPECT_EQ(context.get(), nullptr);
    EXPECT_EQ(context.connection_count(), 0U);
}

TEST(UbusContext, WaitsAsLongAsTheManualSays) {
    const UbusContext::Environment usual;

    EXPECT_EQ(usual.poll_interval, std::chrono::milliseconds{100});
    EXPECT_EQ(usual.reconnect_interval, std::chrono::seconds{1});
    EXPECT_EQ(usual.stop_grace_period, std::chrono::seconds{2});
    EXPECT_EQ(usual.start_patience, std::chrono::seconds{10});
}

TEST(UbusContext, MissingBrokerIsReportedWithTheErrorNumber) {
    const TemporaryDirectory directory;
    UbusContext context{{directory.path("bus")}};

    try {
        context.connect();
        FAIL() << "connected to nobody";
    } catch (const ubus::UbusConnectException& error) {
        EXPECT_STREQ(error.what(), "Failed to connect to ubus");
        const int* const number = boost::get_error_info<boost::errinfo_errno>(error);
        ASSERT_NE(number, nullptr);
        EXPECT_EQ(*number, ENOENT);
    }
}

TEST(UbusContext, SocketOfADeadBrokerIsRefused) {
    PrivateBroker broker;
    broker.kill();
    UbusContext context{{broker.socket()}};

    EXPECT_THROW(context.connect(), ubus::UbusConnectException);
}

TEST(UbusContext, ConnectingLeavesTheSignalsAlone) {
    const PrivateBroker broker;
    struct sigaction before {};
    ASSERT_EQ(sigaction(SIGTERM, nullptr, &before), 0);
    UbusContext context{{broker.socket()}};

    context.connect();

    struct sigaction after {};
    ASSERT_EQ(sigaction(SIGTERM, nullptr, &after), 0);
    EXPECT_EQ(after.sa_handler, before.sa_handler);
}

TEST(UbusContext, ReceiverStopsWithTheContext) {
    const PrivateBroker broker;
    UbusContext context{impatient(broker.socket())};
    context.connect();

    context.start_receiver();
    context.start_receiver();
    context.stop_receiver();
    context.stop_receiver();
    context.start_receiver();
    context.disconnect();

    EXPECT_EQ(context.get(), nullptr);
}

TEST(UbusContext, ConnectsAgainAfterADisconnect) {
    const PrivateBroker broker;
    UbusContext context{impatient(broker.socket())};
    context.connect();
    context.start_receiver();
    context.disconnect();

    context.connect();

    EXPECT_NE(context.get(), nullptr);
    context.start_receiver();
}

std::atomic<unsigned> looks_of_library{0};
std::promise<void>* third_look = nullptr;

void count_look(uloop_fd* /*socket*/, unsigned /*events*/) {
    if (++looks_of_library == 3) {
        third_look->set_value();
    }
}

TEST(UbusContext, LibraryIsNotAskedToReadWhileNothingArrives) {
    const PrivateBroker broker;
    UbusContext context{{broker.socket(), std::chrono::milliseconds{1}}};
    context.connect();
    std::promise<void> asked_again;
    looks_of_library = 0;
    third_look = &asked_again;
    context.get()->sock.cb = count_look;

    context.start_receiver();
    const auto asked = asked_again.get_future().wait_for(std::chrono::milliseconds{100});
    context.stop_receiver();

    EXPECT_EQ(asked, std::future_status::timeout);
    EXPECT_EQ(looks_of_library, 1U) << "what the library keeps from before is looked at once";
}

TEST(UbusContext, ReceiverWithoutAConnectionCanBeStopped) {
    const PrivateBroker broker;
    UbusContext context{impatient(broker.socket())};

    context.start_receiver();
    context.stop_receiver();
    context.connect();
    context.disconnect();
    context.start_receiver();
    context.stop_receiver();

    EXPECT_EQ(context.get(), nullptr);
}

class UbusContextOutage : public ::testing::Test {
protected:
    void connect() {
        context.connect();
        context.set_restorer([this] {
            ++restorations;
            if (restorations == 1) {
                first_restoration.set_value();
            }
            return restorations >= needed_restorations;
        });
        context.start_receiver();
    }

    CapturedLog log;
    PrivateBroker broker;
    int restorations = 0;
    int needed_restorations = 1;
    std::promise<void> first_restoration;
    UbusContext context{impatient(broker.socket())};
};

TEST_F(UbusContextOutage, BrokerThatComesBackIsFoundAgain) {
    connect();

    broker.kill();
    broker.start();
    first_restoration.get_future().wait();
    context.disconnect();

    EXPECT_EQ(restorations, 1);
    EXPECT_EQ(count(log.text(), "event=ubus message=connection lost"), 1U) << log.text();
    EXPECT_EQ(count(log.text(), "event=ubus message=connection restored"), 1U) << log.text();
}

TEST_F(UbusContextOutage, EveryOutageIsLoggedOnceHoweverManyAttemptsItTakes) {
    needed_restorations = 3;
    connect();

    broker.kill();
    broker.start();
    first_restoration.get_future().wait();
    // The broker answers this only after the earlier attempts.
    while (run_command(broker.command("list")).status != 0) {
    }
    context.disconnect();

    EXPECT_EQ(count(log.text(), "connection lost"), 1U) << log.text();
    EXPECT_LE(count(log.text(), "connection restored"), 1U) << log.text();
}

TEST_F(UbusContextOutage, ConnectionLostWhileItIsRestoredIsTheSameOutage) {
    connect();
    context.stop_receiver();
    std::promise<void> second_outage;
    std::promise<void> second_restoration;
    context.set_restorer([&] {
        ++restorations;
        if (restorations == 1) {
            second_outage.get_future().wait();
            broker.kill();
            broker.start();
        } else {
            second_restoration.set_value();
        }
        return restorations == 2;
    });
    context.start_receiver();

    broker.kill();
    broker.start();
    second_outage.set_value();
    second_restoration.get_future().wait();
    context.disconnect();

    EXPECT_EQ(restorations, 2);
    EXPECT_EQ(count(log.text(), "connection lost"), 1U) << log.text();
    EXPECT_EQ(count(log.text(), "connection restored"), 1U) << log.text();
}

TEST_F(UbusContextOutage, StopsWhileANewBrokerStalls) {
    connect();
    broker.kill();
    {
        MuteBroker mute{broker.socket()};

        mute.wait_for_connection();
        context.disconnect();
    }

    EXPECT_EQ(restorations, 0);
    EXPECT_EQ(count(log.text(), "connection lost"), 1U) << log.text();
}

TEST_F(UbusContextOutage, BrokerThatHangsUpAtOnceIsTriedAgain) {
    connect();
    broker.kill();
    {
        MuteBroker rude{broker.socket()};

        rude.hang_up_on_connection();
        rude.hang_up_on_connection();
    }
    broker.start();
    first_restoration.get_future().wait();
    context.disconnect();

    EXPECT_EQ(restorations, 1);
}

TEST_F(UbusContextOutage, StopsQuicklyWhileTheBrokerIsAway) {
    connect();

    broker.kill();
    context.disconnect();

    EXPECT_EQ(restorations, 0);
    EXPECT_THAT(log.text(), Not(HasSubstr("connection restored")));
}

}  // namespace
}  // namespace zephran::test
