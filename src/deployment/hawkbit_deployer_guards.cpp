// SPDX-License-Identifier: Apache-2.0
#include "deployment/hawkbit_deployer.h"
#include "installer/hawkbit_installer.h"

namespace zephran {

bool HawkbitDeployer::owns_files() {
    const bool owned = claim_files();
    if (!owned && !waiting_logged) {
        waiting_logged = true;
        ZLOG_INFO("event", "owns_files", "fsm", fsm_identity(), "message",
                  "waiting for another deployment with the same file name");
    }
    return owned;
}

bool HawkbitDeployer::chunks_left() {
    ZLOG_DEBUG("event", "chunks_left", "fsm", fsm_identity());
    return has_current_chunk();
}

bool HawkbitDeployer::artifacts_left() {
    ZLOG_DEBUG("event", "artifacts_left", "fsm", fsm_identity());
    return has_current_artifact();
}

bool HawkbitDeployer::artifact_arrived() {
    return !downloads.runs_beside_main_loop() || (download != nullptr && download->poll());
}

bool HawkbitDeployer::installer_done() {
    ZLOG_DEBUG("event", "installer_done", "fsm", fsm_identity());
    return installer == nullptr;
}

bool HawkbitDeployer::chunk_already_installed() {
    const bool installed = is_current_chunk_recorded();
    ZLOG_DEBUG("event", "chunk_already_installed", "fsm", fsm_identity(), "installed", installed);
    if (installed) {
        installer_output_ = "Already installed\nInstalled " + chunk().part() + " " +
                            chunk().version() + " on " +
                            HawkbitInstaller::get_installed_version_time(chunk().part()) + "\n";
    }
    return installed;
}

}  // namespace zephran
