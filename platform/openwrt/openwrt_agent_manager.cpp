#include "openwrt/openwrt_agent_manager.h"

namespace zephran::platform::openwrt {

void OpenWrtAgentManager::run_setup() {}

}  // namespace zephran::platform::openwrt
