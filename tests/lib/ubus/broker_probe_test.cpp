// SPDX-License-Identifier: Apache-2.0
#include "ubus/broker_probe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/mute_broker.h"
#include "support/temporary_directory.h"

namespace zephran::test {
namespace {

using ubus::BrokerProbe;

constexpr std::chrono::milliseconds not_at_all{0};
constexpr std::chrono::milliseconds patiently{60'000};

/// The descriptor that is opened next.
int next_descriptor() {
    const int descriptor = ::dup(STDIN_FILENO);
    ::close(descriptor);
    return descriptor;
}

class BrokerProbeTest : public ::testing::Test {
protected:
    [[nodiscard]] std::string path() const { return directory.path("bus"); }

    TemporaryDirectory directory;
    MuteBroker broker{path()};
    BrokerProbe probe{address_of(path())};
};

TEST(BrokerProbe, IsClosedWhereNobodyListens) {
    const TemporaryDirectory directory;
    const int before = next_descriptor();
    BrokerProbe probe{address_of(directory.path("bus"))};

    EXPECT_FALSE(probe.is_open());
    EXPECT_FALSE(probe.has_found_full_queue());
    EXPECT_FALSE(probe.is_greeted_within(not_at_all));
    EXPECT_EQ(next_descriptor(), before);
}

TEST_F(BrokerProbeTest, IsOpenUntilTheGreetingComes) {
    EXPECT_TRUE(probe.is_open());
    EXPECT_FALSE(probe.has_found_full_queue());
    EXPECT_FALSE(probe.is_greeted_within(not_at_all));
    EXPECT_TRUE(probe.is_open());
}

TEST_F(BrokerProbeTest, NeitherBlocksNorStaysOpenInChildren) {
    const int own = next_descriptor() - 1;

    EXPECT_NE(::fcntl(own, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(::fcntl(own, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(BrokerProbeTest, FindsAFullQueueInsteadOfWaitingForAPlace) {
    const BrokerProbe second{address_of(path())};
    const BrokerProbe third{address_of(path())};

    EXPECT_TRUE(second.is_open());
    EXPECT_FALSE(third.is_open());
    EXPECT_TRUE(third.has_found_full_queue());
}

TEST_F(BrokerProbeTest, IsGreetedByTheFirstByteAndLeavesItToOthers) {
    const int connection = broker.wait_for_connection();
    ASSERT_EQ(::send(connection, "", 1, 0), 1);

    EXPECT_TRUE(probe.is_greeted_within(patiently));
    EXPECT_TRUE(probe.is_open());
    EXPECT_TRUE(probe.is_greeted_within(not_at_all));
}

TEST_F(BrokerProbeTest, IsClosedByABrokerThatHangsUp) {
    broker.hang_up_on_connection();

    EXPECT_FALSE(probe.is_greeted_within(patiently));
    EXPECT_FALSE(probe.is_open());
}

TEST(BrokerProbe, HangsUpAtItsEnd) {
    const TemporaryDirectory directory;
    MuteBroker broker{directory.path("bus")};
    const int before = next_descriptor();
    int connection = -1;
    {
        const BrokerProbe probe{address_of(directory.path("bus"))};
        connection = broker.wait_for_connection();
    }
    pollfd input{connection, POLLIN, 0};

    EXPECT_EQ(::poll(&input, 1, 0), 1);
    EXPECT_NE(input.revents & POLLHUP, 0);
    // The broker's end took the next but one, so the probe's is free again.
    EXPECT_EQ(next_descriptor(), before);
}

}  // namespace
}  // namespace zephran::test
