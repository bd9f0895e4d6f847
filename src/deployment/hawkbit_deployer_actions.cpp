// SPDX-License-Identifier: Apache-2.0
#include "common/exception.h"
#include "deployment/artifact_files.h"
#include "deployment/hawkbit_deployer.h"
#include "installer/artifact_path.h"
#include "installer/hawkbit_installer.h"
#include "platform.h"

namespace zephran {

void HawkbitDeployer::select_next_chunk() {
    ZLOG_DEBUG("event", "select_next_chunk", "fsm", fsm_identity());
    if (has_current_chunk()) {
        ++chunk_index_;
        artifact_index = 0;
    }
}

void HawkbitDeployer::select_next_artifact() {
    ZLOG_DEBUG("event", "select_next_artifact", "fsm", fsm_identity());
    if (has_current_artifact()) {
        ++artifact_index;
    }
}

void HawkbitDeployer::continue_download() {
    if (download == nullptr) {
        begin_download();
    }
    download->advance();
}

void HawkbitDeployer::download_artifact() {
    ZLOG_DEBUG("event", "download_artifact", "fsm", fsm_identity());
    if (downloads.runs_beside_main_loop()) {
        end_download();
        return;
    }
    const std::string file = artifact_path(artifact(), context.download_folder);
    const http::Client client = make_http_client();
    context.download_folder.make();
    platform::prepare_download(chunk(), artifact(), context.options.tool_limit);
    client.download_to_file(artifact_files::download_url(artifact()), file);
    received_before += static_cast<std::uint64_t>(std::max(artifact().size(), 0));
}

void HawkbitDeployer::verify_artifact() {
    ZLOG_DEBUG("event", "verify_artifact", "fsm", fsm_identity());
    artifact_files::verify(artifact(), context.download_folder);
}

void HawkbitDeployer::start_installer() {
    ZLOG_DEBUG("event", "start_installer", "fsm", fsm_identity());
    if (installer != nullptr && !installer->is_finished() && !installer->is_cancelled()) {
        ZEPHRAN_THROW(InstallationInProgressException{});
    }
    adopt_installer(make_installer(chunk()));
}

void HawkbitDeployer::cancel_installer() {
    ZLOG_DEBUG("event", "cancel_installer", "fsm", fsm_identity());
    if (installer == nullptr) {
        ZEPHRAN_THROW(NoInstallationInProgressException{});
    }
    installer->cancel();
}

void HawkbitDeployer::remove_artifacts() {
    ZLOG_DEBUG("event", "remove_artifacts", "fsm", fsm_identity());
    artifact_files::remove(chunk(), context.download_folder);
}

void HawkbitDeployer::cleanup() {
    ZLOG_DEBUG("event", "cleanup", "fsm", fsm_identity());
    end_download();
    // Until it owns its names the files are another deployer's.
    if (!file_claim.is_held()) {
        return;
    }
    for (const Chunk& each : action.chunks()) {
        artifact_files::remove(each, context.download_folder);
        if (downloads.resume && !keeps_partial_files) {
            artifact_files::remove_partial(each, context.download_folder);
        }
    }
}

void HawkbitDeployer::enter_finished() {
    finished = true;
    file_claim.release();
}

void HawkbitDeployer::enter_cancelled() {
    cancelled = true;
    file_claim.release();
}

}  // namespace zephran
