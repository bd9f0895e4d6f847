// SPDX-License-Identifier: Apache-2.0
#include "ubus/broker_connection.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>

#include <boost/exception/errinfo_errno.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/captured_log.h"
#include "support/mute_broker.h"
#include "support/private_broker.h"
#include "support/temporary_directory.h"
#include "ubus/exceptions.h"

namespace zephran::test {
namespace {

using ubus::BrokerConnection;
using Input = BrokerConnection::Input;

constexpr std::chrono::milliseconds not_at_all{0};
constexpr std::chrono::milliseconds patiently{60'000};

/// The descriptor that is opened next.
int next_descriptor() {
    const int descriptor = ::dup(STDIN_FILENO);
    ::close(descriptor);
    return descriptor;
}

void own_handler(int /*number*/) {}

class BrokerConnectionTest : public ::testing::Test {
protected:
    PrivateBroker broker;
    BrokerConnection connection{broker.socket()};
};

TEST_F(BrokerConnectionTest, NotesWhereTheBrokerWasReached) {
    connection.open();

    EXPECT_EQ(connection.broker_address().sun_family, AF_UNIX);
    EXPECT_EQ(std::string(static_cast<const char*>(connection.broker_address().sun_path)),
              broker.socket());
}

TEST_F(BrokerConnectionTest, IsKeptFromChildren) {
    const CapturedLog log;
    connection.open();
    EXPECT_NE(::fcntl(connection.get()->sock.fd, F_GETFD) & FD_CLOEXEC, 0);

    ASSERT_TRUE(connection.reopen());
    EXPECT_NE(::fcntl(connection.get()->sock.fd, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(log.text(), "");
}

TEST_F(BrokerConnectionTest, LeavesNoDescriptorBehind) {
    // The library keeps descriptors of its own from the first connection on.
    connection.open();
    connection.close();
    const int before = next_descriptor();
    {
        BrokerConnection another{broker.socket()};
        another.open();
        const int opened = next_descriptor();
        EXPECT_GT(opened, before);
        ASSERT_TRUE(another.reopen());
        EXPECT_EQ(next_descriptor(), opened);
    }
    EXPECT_EQ(next_descriptor(), before);
}

TEST_F(BrokerConnectionTest, OpeningKeepsTheHandlersOfTheDaemon) {
    const auto original = std::signal(SIGTERM, own_handler);

    connection.open();

    EXPECT_EQ(std::signal(SIGTERM, original), &own_handler);
}

TEST_F(BrokerConnectionTest, IsGoneAfterAFailedReopen) {
    connection.open();
    broker.kill();

    EXPECT_FALSE(connection.reopen());
    EXPECT_EQ(connection.get(), nullptr);
    EXPECT_EQ(connection.wait_for_input(not_at_all), Input::none);
    EXPECT_FALSE(connection.can_send_at_once());
}

TEST_F(BrokerConnectionTest, MissingBrokerIsNamedByItsErrorNumber) {
    const TemporaryDirectory directory;
    BrokerConnection nowhere{directory.path("bus")};

    try {
        nowhere.open();
        FAIL() << "connected to nobody";
    } catch (const ubus::UbusConnectException& error) {
        const int* const number = boost::get_error_info<boost::errinfo_errno>(error);
        ASSERT_NE(number, nullptr);
        EXPECT_EQ(*number, ENOENT);
    }
}

TEST_F(BrokerConnectionTest, WaitsForNothingBeforeItIsOpened) {
    EXPECT_EQ(connection.wait_for_input(not_at_all), Input::none);
    EXPECT_FALSE(connection.can_send_at_once());
}

TEST_F(BrokerConnectionTest, HasNoInputAtRest) {
    connection.open();

    EXPECT_EQ(connection.wait_for_input(not_at_all), Input::none);
    EXPECT_TRUE(connection.can_send_at_once());
}

TEST(BrokerConnection, FindsWhatTheBrokerSends) {
    // The greeting, and the beginning of another message.
    constexpr std::array<unsigned char, 13> sent{0, 0, 0, 0, 0x65, 0xf4, 0x5a, 0xca, 0, 0, 0, 4, 0};
    const TemporaryDirectory directory;
    MuteBroker scripted{directory.path("bus")};
    BrokerConnection connection{directory.path("bus")};
    std::thread player{[&] {
        (void)::send(scripted.wait_for_connection(), sent.data(), sent.size(), MSG_NOSIGNAL);
    }};
    connection.open();
    player.join();

    EXPECT_EQ(connection.wait_for_input(patiently), Input::some);
}

TEST_F(BrokerConnectionTest, FindsThatTheBrokerIsGone) {
    connection.open();
    EXPECT_FALSE(connection.has_ended());
    broker.kill();

    EXPECT_EQ(connection.wait_for_input(patiently), Input::connection_is_broken);
    EXPECT_FALSE(connection.can_send_at_once());
    auto& socket = connection.get()->sock;
    socket.cb(&socket, ULOOP_READ);
    EXPECT_TRUE(connection.has_ended());
}

TEST_F(BrokerConnectionTest, WithoutItsDescriptorItIsBroken) {
    connection.open();
    ::close(connection.get()->sock.fd);

    EXPECT_EQ(connection.wait_for_input(patiently), Input::connection_is_broken);
    EXPECT_FALSE(connection.can_send_at_once());
}

TEST_F(BrokerConnectionTest, ABrokenOneThatWasGivenUpIsNotWaitedFor) {
    connection.open();
    broker.kill();
    ASSERT_EQ(connection.wait_for_input(patiently), Input::connection_is_broken);

    connection.give_up();

    EXPECT_EQ(connection.wait_for_input(not_at_all), Input::none);
    EXPECT_NE(connection.get(), nullptr);
}

TEST_F(BrokerConnectionTest, ShuttingDownEndsAWait) {
    connection.open();

    connection.shut_down();

    EXPECT_EQ(connection.wait_for_input(patiently), Input::connection_is_broken);
}

TEST_F(BrokerConnectionTest, NobodyWaitsForAClosedOne) {
    connection.open();
    const int descriptor = connection.get()->sock.fd;
    connection.close();
    // Another file takes the number; it is always readable.
    ASSERT_EQ(::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), descriptor), descriptor);

    EXPECT_EQ(connection.wait_for_input(not_at_all), Input::none);
    ::close(descriptor);
}

}  // namespace
}  // namespace zephran::test
