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
#include "ubus/ubus_object.h"

namespace zephran::test {
namespace {

using Words = std::initializer_list<std::uint32_t>;

/// Acts as a broker up to one call and then stops reading.
class StallingBroker {
public:
    explicit StallingBroker(const std::string& path)
        : listener{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)} {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
        if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(listener, 1) != 0) {
            throw std::system_error{errno, std::generic_category(), path};
        }
        player = std::thread{[this] { play(); }};
    }
    StallingBroker(const StallingBroker&) = delete;
    StallingBroker& operator=(const StallingBroker&) = delete;
    ~StallingBroker() {
        player.join();
        ::close(connection);
        ::close(listener);
    }

private:
    void play() {
        connection = ::accept(listener, nullptr, nullptr);
        send({0x00000000, 0x65f45aca, 0x00000004});
        char request[4096];  // NOLINT
        (void)::recv(connection, static_cast<char*>(request), sizeof request, 0);
        // the answer to the request to add an object, then a call of "poll" without arguments
        send({0x00020001, 0x00000000, 0x00000014, 0x03000008, 0x7bb8faf7, 0x05000008, 0xd673c7c7});
        send({0x00010001, 0x00000000, 0x0000000c, 0x01000008, 0x00000000});
        send({0x00050002, 0x59a0a9b1, 0x0000001c, 0x03000008, 0x7bb8faf7, 0x04000009, 0x706f6c6c,
              0x00000000, 0x07000004});
    }
    void send(Words words) const {
        std::string bytes;
        for (const std::uint32_t word : words) {
            for (const unsigned shift : {24U, 16U, 8U, 0U}) {
                bytes += static_cast<char>(word >> shift);
            }
        }
        (void)::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }

    int listener;
    int connection = -1;
    std::thread player;
};

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
