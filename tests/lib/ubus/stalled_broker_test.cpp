// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <future>
#include <initializer_list>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "support/captured_log.h"
#include "support/temporary_directory.h"
#include "ubus/broker_probe.h"
#include "ubus/ubus_object.h"

namespace zephran::test {
namespace {

using Words = std::initializer_list<std::uint32_t>;

sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
    return address;
}

int listen_at(const std::string& path, int backlog) {
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = address_of(path);
    (void)::unlink(path.c_str());
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, backlog) != 0) {
        throw std::system_error{errno, std::generic_category(), path};
    }
    return listener;
}

/// A client of a scripted broker.
class Client {
public:
    explicit Client(int listener) : connection{::accept(listener, nullptr, nullptr)} {}
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() { ::close(connection); }

    void greet() const { send({0x00000000, 0x65f45aca, 0x00000004}); }
    /// Waits for a request, or for the end of the connection.
    void receive() const {
        char request[4096];  // NOLINT
        (void)::recv(connection, static_cast<char*>(request), sizeof request, 0);
    }
    /// Answers the request to add an object.
    void add_object() const {
        send({0x00020001, 0x00000000, 0x00000014, 0x03000008, 0x7bb8faf7, 0x05000008, 0xd673c7c7});
        send({0x00010001, 0x00000000, 0x0000000c, 0x01000008, 0x00000000});
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

/// An object on a broker that went away, and the broker that has taken its place.
class StalledReconnection : public ::testing::Test {
protected:
    static constexpr std::chrono::milliseconds soon{10};

    StalledReconnection() {
        const int listener = listen_at(path, 1);
        std::thread first_broker{[&] {
            const Client client{listener};
            client.greet();
            client.receive();
            client.add_object();
        }};
        ubus::UbusContext::Environment environment{path, soon, soon};
        environment.stop_grace_period = soon;
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
