// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>

#include "hawkbit/client.h"
#include "traffic.h"

namespace zephran::simulation {

/// When the server does not answer, and how a gateway notices.
struct Outage {
    Milliseconds begin{0};
    Milliseconds end{0};
    /// How long a request lasts until it fails. A longer one than the rest of the outage fails at
    /// its end.
    Milliseconds notice{0};
};

/// What a server knows of one gateway.
struct Target {
    bool was_served = false;
    bool is_closed = false;
};

/// A server for all gateways: it counts requests and says what a server would.
class SimulatedServer {
public:
    explicit SimulatedServer(std::chrono::seconds duration) : traffic{duration} {}

    /// The exchanges of one gateway.
    /// @param target must live as long as the client
    [[nodiscard]] std::unique_ptr<hawkbit::ClientInterface> make_client(Target& target);

    /// Counts a request that comes now. Throws what the HTTP client throws if it fails; then time
    /// has passed.
    void serve();

    Milliseconds start{0};
    std::optional<Outage> outage;
    /// Requests within one second beyond this number are refused by status 503.
    std::uint32_t limit = std::numeric_limits<std::uint32_t>::max();
    /// From when on every gateway is offered a deployment, which it may put off.
    Milliseconds offered_from = Milliseconds::max();
    Traffic traffic;
    std::uint64_t failed = 0;
    std::uint64_t closed_actions = 0;
    /// When the last gateway was served for the first time after the outage or the start.
    Milliseconds last_first_poll{0};
    std::uint64_t served_gateways = 0;
};

}  // namespace zephran::simulation
