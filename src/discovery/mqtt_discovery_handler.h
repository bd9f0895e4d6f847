// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery_handler.h"

namespace zephran::discovery {

/// Placeholder for discovery over MQTT. It finds nothing.
class MQTTDiscoveryHandler : public DiscoveryHandler {
public:
    void setup(AgentManager* /*manager*/) override {}
    void tick() override {}
};

}  // namespace zephran::discovery
