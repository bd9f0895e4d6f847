// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <future>
#include <initializer_list>
#include <thread>
#include <utility>

#include <boost/exception/errinfo_errno.hpp>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "support/captured_log.h"
#include "support/mute_broker.h"
#include "support/temporary_directory.h"
#include "ubus/broker_probe.h"
#include "ubus/exceptions.h"
#include "ubus/ubus_object.h"

namespace zephran::test {
namespace {

using Words = std::initializer_list<std::uint32_t>;

/// A client of a scripted broker.
class Client {
public:
    explicit Client(int listener) : connection{::accept(listener, nullptr, nullptr)} {}
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() { ::close(connection); }

    void greet() const { send({0x00000000, 0x65f45aca, 0x00000004}); }
    /// Waits for a request, or for the end of the connection.
    /// @returns whether it is a request
    bool receive() const {
        char request[4096];  // NOLINT
        return ::recv(connection, static_cast<char*>(request), sizeof request, 0) > 0;
    }
    /// Answers the request to add an object.
    void add_object() const {
        send({0x00020001, 0x00000000, 0x00000014, 0x03000008, 0x7bb8faf7, 0x05000008, 0xd673c7c7});
        send({0x00010001, 0x00000000, 0x0000000c, 0x01000008, 0x00000000});
    }
    /// Tells the owner of the object that somebody listens.
    void subscribe() const {
        send({0x000a0001, 0x00000000, 0x00000014, 0x03000008, 0x7bb8faf7, 0x09000005, 0x01000000});
    }
    /// Calls "poll" without arguments.
    void call() const {
        send({0x00050002, 0x59a0a9b1, 0x0000001c, 0x03000008, 0x7bb8faf7, 0x04000009, 0x706f6c6c,
              0x00000000, 0x07000004});
    }

private:
    void send(Words words) const {
        std::string bytes;
        for (const std::uint32_t word : words) {
            for (const unsigned shift : {24U, 16U, 8U, 0U}) {
                bytes += static_cast<char>(word >> shift);
            }
        }
        (void)::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }

    int connection;
};

/// Waits until a thread of this process sleeps.
void wait_until_asleep(pid_t thread) {
    char state = 'R';
    while (state != 'S') {
        std::ifstream file{"/proc/self/task/" + std::to_string(thread) + "/stat"};
        std::string before_the_state;
        std::getline(file, before_the_state, ')');
        file >> state;
    }
}

/// Acts as a broker up to one call and then stops reading.
class StallingBroker {
public:
    explicit StallingBroker(const std::string& path)
        : listener{listen_at(path, 1)}, player{[this] { play(); }} {}
    StallingBroker(const StallingBroker&) = delete;
    StallingBroker& operator=(const StallingBroker&) = delete;
    ~StallingBroker() {
        player.join();
        ::close(listener);
    }

private:
    void play() {
        client = std::make_unique<Client>(listener);
        client->greet();
        client->receive();
        client->add_object();
        client->call();
    }

    int listener;
    std::unique_ptr<Client> client;
    std::thread player;
};

TEST(StalledSubscription, HoldsUpNeitherThoseWhoNotifyNorTheEnd) {
    constexpr std::chrono::milliseconds soon{10};
    const CapturedLog log;
    const TemporaryDirectory directory;
    const int listener = listen_at(directory.path("bus"), 1);
    std::promise<void> is_over;
    std::thread broker{[&] {
        const Client client{listener};
        client.greet();
        client.receive();
        client.add_object();
        client.subscribe();
        is_over.get_future().wait();
    }};
    const auto queue = std::make_shared<ubus::NotificationQueue>();
    auto object = std::make_unique<ubus::UbusObject>(
        "demo", std::list<ubus::UbusObject::Method>{},
        ubus::UbusContext::Environment{directory.path("bus"), soon, soon});
    object->notify_from(queue);
    object->get_context().start_receiver();
    Json::Value content;
    content["text"] = std::string(1000, 'x');

    using steady = std::chrono::steady_clock;
    auto longest = steady::duration::zero();
    unsigned added = 0;
    for (const auto begin = steady::now(); steady::now() - begin < std::chrono::seconds{1};) {
        const auto before = steady::now();
        queue->add({"progress", content, true});
        longest = std::max(longest, steady::now() - before);
        ++added;
    }
    EXPECT_FALSE(queue->empty());
    const auto before_end = steady::now();
    object.reset();
    const auto end = steady::now() - before_end;
    is_over.set_value();
    broker.join();
    ::close(listener);

    // Less than the time after which a receiver is freed by force.
    EXPECT_LT(end, std::chrono::seconds{1});
    EXPECT_LT(longest, std::chrono::milliseconds{500});
    EXPECT_GT(added, 1000U);
}

/// An object on a broker that went away, and the broker that has taken its place.
class StalledReconnection : public ::testing::Test {
protected:
    static constexpr std::chrono::milliseconds soon{10};

    explicit StalledReconnection(std::chrono::milliseconds grace_period = soon) {
        const int listener = listen_at(path, 1);
        std::thread first_broker{[&] {
            const Client client{listener};
            client.greet();
            client.receive();
            client.add_object();
        }};
        ubus::UbusContext::Environment environment{path, soon, soon};
        environment.stop_grace_period = grace_period;
        object = std::make_unique<ubus::UbusObject>("demo", std::list<ubus::UbusObject::Method>{},
                                                    environment);
        first_broker.join();
        ::close(listener);
    }
    ~StalledReconnection() override { ::close(second_listener); }

    /// Destroys the object, which must not wait for the broker.
    void expect_quick_end() {
        const auto before = std::chrono::steady_clock::now();
        object.reset();
        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds{5});
    }

    const CapturedLog log;
    const TemporaryDirectory directory;
    const std::string path = directory.path("bus");
    std::unique_ptr<ubus::UbusObject> object;
    int second_listener = -1;
};

TEST_F(StalledReconnection, AtTheAnswerToTheRegistrationHoldsUpNoEnd) {
    second_listener = listen_at(path, 1);
    object->get_context().start_receiver();
    {
        const Client probe{second_listener};
        probe.greet();
        probe.receive();
    }
    const Client client{second_listener};
    client.greet();
    client.receive();

    expect_quick_end();
}

TEST_F(StalledReconnection, AtTheGreetingHoldsUpNoEnd) {
    second_listener = listen_at(path, 1);
    object->get_context().start_receiver();
    {
        const Client probe{second_listener};
        probe.greet();
        probe.receive();
    }
    const Client client{second_listener};

    expect_quick_end();
}

TEST_F(StalledReconnection, AtTheProbeHoldsUpNoEnd) {
    second_listener = listen_at(path, 1);
    object->get_context().start_receiver();
    const Client probe{second_listener};

    expect_quick_end();
}

TEST_F(StalledReconnection, AtAFullQueueBehindTheProbeHoldsUpNoEnd) {
    // One connection fits into the queue.
    second_listener = listen_at(path, 0);
    object->get_context().start_receiver();
    const Client probe{second_listener};
    const int other = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = address_of(path);
    ASSERT_EQ(::connect(other, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    probe.greet();
    probe.receive();

    expect_quick_end();
    ::close(other);
}

TEST_F(StalledReconnection, ThatFailsAgainAndAgainIsLoggedOnce) {
    second_listener = listen_at(path, 1);
    object->get_context().start_receiver();
    for (unsigned attempts = 0; attempts < 3; ++attempts) {
        {
            const Client probe{second_listener};
            probe.greet();
            probe.receive();
        }
        const Client client{second_listener};
        client.greet();
        client.receive();
    }
    const Client probe{second_listener};
    object.reset();

    const std::string logged = log.text();
    for (const char* const line : {"message=connection lost", "could not register object again"}) {
        const auto at = logged.find(line);
        EXPECT_NE(at, std::string::npos) << logged;
        EXPECT_EQ(logged.find(line, at + 1), std::string::npos) << logged;
    }
    EXPECT_EQ(logged.find("connection restored"), std::string::npos) << logged;
}

/// One whose receiver gets all the time that it needs to stop.
class PatientlyStoppedReconnection : public StalledReconnection {
protected:
    PatientlyStoppedReconnection() : StalledReconnection{std::chrono::minutes{1}} {}
};

TEST_F(PatientlyStoppedReconnection, KeepsAConnectionThatWasMadeDuringTheStop) {
    ubus::UbusContext& context = object->get_context();
    second_listener = listen_at(path, 1);
    context.start_receiver();
    {
        const Client probe{second_listener};
        probe.greet();
        probe.receive();
    }
    const Client client{second_listener};
    std::promise<pid_t> stopping;
    std::thread stopper{[&] {
        stopping.set_value(::gettid());
        context.stop_receiver();
    }};
    wait_until_asleep(stopping.get_future().get());

    client.greet();
    stopper.join();
    ::close(std::exchange(second_listener, -1));
    context.start_receiver();

    // Whoever connected anew would have hung up on this client.
    EXPECT_TRUE(client.receive());
    client.add_object();
}

/// A broker that stalls while an object connects to it for the first time.
class StalledStart : public ::testing::Test {
protected:
    ~StalledStart() override { ::close(listener); }

    void listen(int backlog) { listener = listen_at(path, backlog); }
    void make_object() const {
        ubus::UbusContext::Environment environment{path};
        environment.start_patience = std::chrono::milliseconds{100};
        const ubus::UbusObject object{"demo", {}, environment};
    }
    void expect_timeout() const {
        try {
            make_object();
            FAIL() << "it has connected";
        } catch (const ubus::UbusConnectException& error) {
            const int* const number = boost::get_error_info<boost::errinfo_errno>(error);
            ASSERT_NE(number, nullptr);
            EXPECT_EQ(*number, ETIMEDOUT);
        }
    }

    const TemporaryDirectory directory;
    const std::string path = directory.path("bus");
    int listener = -1;
};

TEST_F(StalledStart, AtTheGreetingFails) {
    listen(1);

    expect_timeout();
}

TEST_F(StalledStart, AtAFullQueueFails) {
    listen(0);
    const sockaddr_un address = address_of(path);
    const ubus::BrokerProbe other{address};
    ASSERT_TRUE(other.is_open());

    expect_timeout();
}

TEST_F(StalledStart, AtTheAnswerToTheRegistrationFails) {
    listen(1);
    std::thread broker{[this] {
        const Client client{listener};
        client.greet();
        EXPECT_TRUE(client.receive());
        EXPECT_FALSE(client.receive());
    }};

    EXPECT_THROW(make_object(), ubus::ObjectAddException);
    broker.join();
}

TEST_F(StalledStart, WithTheSignalOfInterruptionsBlockedFailsToo) {
    listen(1);
    sigset_t blocked{};
    sigset_t before{};
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGURG);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);

    expect_timeout();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(StalledStart, IsNoticedWithinTenSeconds) {
    EXPECT_EQ(ubus::UbusContext::Environment{}.start_patience, std::chrono::seconds{10});
}

TEST(BrokerProbe, NoticesAFullQueue) {
    const TemporaryDirectory directory;
    const int listener = listen_at(directory.path("bus"), 0);
    const sockaddr_un address = address_of(directory.path("bus"));

    const ubus::BrokerProbe first{address};
    EXPECT_TRUE(first.is_open());
    EXPECT_FALSE(first.has_found_full_queue());
    const ubus::BrokerProbe second{address};
    EXPECT_FALSE(second.is_open());
    EXPECT_TRUE(second.has_found_full_queue());

    ::close(listener);
    const ubus::BrokerProbe third{address};
    EXPECT_FALSE(third.is_open());
    EXPECT_FALSE(third.has_found_full_queue());
}

TEST(StalledBroker, DoesNotBlockTheDestructionOfAnObjectThatIsReplying) {
    constexpr std::chrono::milliseconds soon{10};
    const CapturedLog log;
    const TemporaryDirectory directory;
    StallingBroker broker{directory.path("bus")};
    std::promise<void> called;
    ubus::UbusContext::Environment environment{directory.path("bus"), soon, soon};
    environment.stop_grace_period = soon;
    auto demo = std::make_unique<ubus::UbusObject>(
        "demo",
        std::list<ubus::UbusObject::Method>{
            {"poll",
             [&](ubus::UbusObject* object, ubus_request_data* request, blob_attr* /*message*/) {
                 called.set_value();
                 Json::Value reply;
                 reply["text"] = std::string(1'000'000, 'x');
                 object->reply(request, reply);
                 return 0;
             },
             {}}},
        environment);
    demo->get_context().start_receiver();
    called.get_future().wait();

    demo.reset();

    // The reply was cut off, and the error was noticed.
    EXPECT_NE(log.text().find("Failed to send reply"), std::string::npos) << log.text();
}

}  // namespace
}  // namespace zephran::test
