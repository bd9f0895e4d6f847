// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zephran {

class AgentManager;

/// Finds what else there is to update behind the gateway, and requests agents for it.
class DiscoveryHandler {
public:
    DiscoveryHandler() = default;
    DiscoveryHandler(const DiscoveryHandler&) = delete;
    DiscoveryHandler& operator=(const DiscoveryHandler&) = delete;
    virtual ~DiscoveryHandler() = default;

    /// Called once, before the first tick.
    /// @param manager outlives the handler
    virtual void setup(AgentManager* manager) = 0;
    /// Called by the main loop once per iteration, on the main thread.
    virtual void tick() = 0;
};

}  // namespace zephran
