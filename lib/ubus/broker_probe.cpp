// SPDX-License-Identifier: Apache-2.0
#include "ubus/broker_probe.h"

#include <cerrno>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zephran::ubus {

BrokerProbe::BrokerProbe(const sockaddr_un& address)
    : descriptor{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)} {
    // Without SOCK_NONBLOCK this would block while the broker's backlog is full.
    if (is_open() &&
        ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        found_full_queue = errno == EAGAIN;
        close();
    }
}

BrokerProbe::~BrokerProbe() {
    close();
}

bool BrokerProbe::is_greeted_within(std::chrono::milliseconds time) {
    pollfd input{descriptor, POLLIN, 0};
    if (::poll(&input, 1, static_cast<int>(time.count())) <= 0) {
        return false;
    }
    char first_byte = 0;
    if (::recv(descriptor, &first_byte, sizeof first_byte, MSG_PEEK) > 0) {
        return true;
    }
    close();
    return false;
}

void BrokerProbe::close() {
    if (is_open()) {
        ::close(descriptor);
        descriptor = no_descriptor;
    }
}

}  // namespace zephran::ubus
