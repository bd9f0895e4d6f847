// SPDX-License-Identifier: Apache-2.0
#include "installer/hawkbit_installer_fsm.h"

#include "fsm/advancing_fsm_impl.h"
#include "installer/hawkbit_installer.h"

namespace zephran {

namespace hawkbit_installer_fsm {
struct FSMDef : BasicFSMDef<HawkbitInstaller> {
    using BasicFSMDef::BasicFSMDef;
};
}  // namespace hawkbit_installer_fsm

template class AdvancingFSM<hawkbit_installer_fsm::FSMDef, hawkbit_installer_fsm::events::cancel,
                            hawkbit_installer_fsm::events::advance, HawkbitInstaller>;

void HawkbitInstaller::cancel() {
    process(hawkbit_installer_fsm::events::cancel{});
}

void HawkbitInstaller::resume() {
    resumed = true;
    process(hawkbit_installer_fsm::events::resume{});
}

}  // namespace zephran
