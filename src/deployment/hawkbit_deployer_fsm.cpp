// SPDX-License-Identifier: Apache-2.0
#include "deployment/hawkbit_deployer_fsm.h"

#include "deployment/hawkbit_deployer.h"
#include "fsm/advancing_fsm_impl.h"

namespace zephran {

namespace hawkbit_deployer_fsm {
struct FSMDef : BasicFSMDef<HawkbitDeployer> {
    using BasicFSMDef::BasicFSMDef;
};
}  // namespace hawkbit_deployer_fsm

template class AdvancingFSM<hawkbit_deployer_fsm::FSMDef, hawkbit_deployer_fsm::events::cancel,
                            hawkbit_deployer_fsm::events::advance, HawkbitDeployer>;

void HawkbitDeployer::cancel() {
    process(hawkbit_deployer_fsm::events::cancel{});
}

void HawkbitDeployer::send_resume() {
    process(hawkbit_deployer_fsm::events::resume{});
}

}  // namespace zephran
