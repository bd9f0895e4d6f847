// SPDX-License-Identifier: Apache-2.0
#include "agent/hawkbit_agent_fsm.h"

#include "agent/hawkbit_agent.h"
#include "fsm/advancing_fsm_impl.h"

namespace zephran {

namespace hawkbit_agent_fsm {
struct FSMDef : BasicFSMDef<HawkbitAgent> {
    using BasicFSMDef::BasicFSMDef;
};
}  // namespace hawkbit_agent_fsm

template class AdvancingFSM<hawkbit_agent_fsm::FSMDef, hawkbit_agent_fsm::events::error,
                            hawkbit_agent_fsm::events::advance, HawkbitAgent>;

void HawkbitAgent::restart() {
    process(hawkbit_agent_fsm::events::restart{});
    show_status();
}

}  // namespace zephran
