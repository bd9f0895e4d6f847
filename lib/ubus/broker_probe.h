// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

#include <sys/un.h>

namespace zephran::ubus {

/// Finds out whether a broker greets its clients. The bus library waits for the greeting without a
/// time limit: with a broker that accepts connections and then stalls, the connecting thread would
/// hang, and the process could not end.
class BrokerProbe {
public:
    /// Connects, if a broker is listening.
    explicit BrokerProbe(const sockaddr_un& address);
    BrokerProbe(const BrokerProbe&) = delete;
    BrokerProbe& operator=(const BrokerProbe&) = delete;
    ~BrokerProbe();

    /// Whether a greeting may still come.
    [[nodiscard]] bool is_open() const { return descriptor != no_descriptor; }
    /// Whether the broker accepts no connections: an attempt to connect would have to wait.
    [[nodiscard]] bool has_found_full_queue() const { return found_full_queue; }
    /// Waits for the greeting. The probe is closed if the broker hangs up instead.
    [[nodiscard]] bool is_greeted_within(std::chrono::milliseconds time);

private:
    static constexpr int no_descriptor = -1;

    void close();

    int descriptor;
    bool found_full_queue = false;
};

}  // namespace zephran::ubus
