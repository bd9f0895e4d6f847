// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include "scripted_broker.h"

namespace zephran::ubus_standin {

namespace {

/// Whether a client takes this greeting.
bool is_accepted(const std::string& greeting) {
    ScriptedBroker broker;
    auto welcomed = broker.welcome(greeting);
    const Context context{ubus_connect(broker.path().c_str()), &ubus_free};
    welcomed.get();
    return context != nullptr;
}

void wake_up(int /*number*/) {}

[[noreturn]] void connect_while_signals_arrive() {
    const ScriptedBroker silent;
    struct sigaction action {};
    action.sa_handler = wake_up;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const ubus_context* const context = ubus_connect(silent.path().c_str());
    std::_Exit(context == nullptr && errno == EINTR ? 0 : 1);
}

[[noreturn]] void connect_with_default_dispositions() {
    (void)std::signal(SIGTERM, SIG_DFL);
    (void)std::signal(SIGPIPE, SIG_DFL);
    ubus_connect("/nonexistent/ubus.sock");
    struct sigaction on_term {};
    struct sigaction on_pipe {};
    sigaction(SIGTERM, nullptr, &on_term);
    sigaction(SIGPIPE, nullptr, &on_pipe);
    std::_Exit(on_term.sa_handler != SIG_DFL && on_pipe.sa_handler == SIG_IGN ? 0 : 1);
}

}  // namespace

TEST(UbusConnect, TakesTheIdFromTheGreetingInNetworkOrder) {
    ScriptedBroker broker;

    const Context context = broker.connected_client("00000000 65f45aca 00000004");

    unsigned char id[4];
    std::memcpy(&id[0], &context->local_id, sizeof(id));
    EXPECT_EQ(id[0], 0x65);
    EXPECT_EQ(id[3], 0xca);
}

TEST(UbusConnect, SendsNothingInReturn) {
    ScriptedBroker broker;

    const Context context = broker.connected_client();

    EXPECT_TRUE(broker.is_silent());
}

TEST(UbusConnect, LeavesANonBlockingSocketThatNoChildInherits) {
    ScriptedBroker broker;

    const Context context = broker.connected_client();

    EXPECT_NE(fcntl(context->sock.fd, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_NE(fcntl(context->sock.fd, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_FALSE(context->sock.eof);
}

TEST(UbusConnect, SaysThatThereIsNoSocket) {
    const TemporaryDirectory directory;

    EXPECT_EQ(ubus_connect(directory.path("ubus.sock").c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(UbusConnect, SaysThatNobodyListens) {
    ScriptedBroker broker;
    broker.stop_listening();

    EXPECT_EQ(ubus_connect(broker.path().c_str()), nullptr);
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST(UbusConnect, SaysThatAPathIsTooLong) {
    EXPECT_EQ(ubus_connect(std::string(200, 'x').c_str()), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST(UbusConnect, RefusesAGreetingInPieces) {
    EXPECT_FALSE(is_accepted("00000000"));
    EXPECT_FALSE(is_accepted("00000000 65f45aca 000000"));
}

TEST(UbusConnect, RefusesTheIdsZeroAndOne) {
    EXPECT_FALSE(is_accepted("00000000 00000000 00000004"));
    EXPECT_FALSE(is_accepted("00000000 01000000 00000004"));
    EXPECT_TRUE(is_accepted("00000000 02000000 00000004"));
}

TEST(UbusConnect, RefusesWhatIsNoGreeting) {
    EXPECT_FALSE(is_accepted("01000000 65f45aca 00000004"));
    EXPECT_FALSE(is_accepted("00010000 65f45aca 00000004"));
    EXPECT_FALSE(is_accepted("00000000 65f45aca 00000003"));
}

TEST(UbusConnect, RefusesABrokerThatHangsUp) {
    ScriptedBroker broker;
    auto welcomed = std::async(std::launch::async, [&broker] {
        broker.welcome("").get();
        broker.hang_up();
    });

    const Context context{ubus_connect(broker.path().c_str()), &ubus_free};
    welcomed.get();

    EXPECT_EQ(context, nullptr);
}

TEST(UbusConnect, IsGivenUpWhenASignalArrivesDuringTheGreeting) {
    EXPECT_EXIT(connect_while_signals_arrive(), testing::ExitedWithCode(0), "");
}

TEST(UbusConnect, TakesSignalsOverEvenWhenItFails) {
    EXPECT_EXIT(connect_with_default_dispositions(), testing::ExitedWithCode(0), "");
}

TEST(UbusFree, ClosesTheSocketAndSendsNothing) {
    ScriptedBroker broker;
    Context context = broker.connected_client();

    context.reset();

    EXPECT_TRUE(broker.sees_end());
}

TEST(UbusFree, AcceptsNothing) {
    ubus_free(nullptr);
}

}  // namespace zephran::ubus_standin
