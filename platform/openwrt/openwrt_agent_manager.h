#pragma once

#include "agent_manager.h"

namespace zephran::platform::openwrt {

/// The agent manager of a gateway without local control: it offers no object on the message bus, so
/// agents are driven by the update server alone.
class OpenWrtAgentManager : public AgentManager {
public:
    using AgentManager::AgentManager;
    OpenWrtAgentManager() = default;

protected:
    /// There is no local control to start.
    void run_setup() override;
};

}  // namespace zephran::platform::openwrt
