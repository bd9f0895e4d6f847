#pragma once

#include <chrono>

#include <sys/un.h>

namespace zephran::ubus {

/// Finds out whether a broker greets who connects. The bus library waits for the greeting without
/// limit: with a broker that takes connections and stands still, the thread that connects would
/// hang, and with it the end of the process.
class BrokerProbe {
public:
    /// Connects, if there is somebody to connect to.
    explicit BrokerProbe(const sockaddr_un& address);
    BrokerProbe(const BrokerProbe&) = delete;
    BrokerProbe& operator=(const BrokerProbe&) = delete;
    ~BrokerProbe();

    /// Whether a greeting may still come.
    [[nodiscard]] bool is_open() const { return descriptor >= 0; }
    /// Waits for the greeting. When the other end hangs up instead, the probe is closed.
    [[nodiscard]] bool is_greeted_within(std::chrono::milliseconds time);

private:
    void close();

    int descriptor;
};

}  // namespace zephran::ubus
