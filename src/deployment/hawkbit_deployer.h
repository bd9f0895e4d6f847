// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/exception.h"
#include "common/logprint.h"
#include "deployment/artifact_download.h"
#include "deployment/file_claim.h"
#include "fsm/advancing_fsm.h"
#include "hawkbit/attributes.h"
#include "hawkbit/messages/deployment_action.h"
#include "http/httpclient.h"
#include "installer/error_record.h"
#include "installer/installer_context.h"
#include "options/download_options.h"

namespace zephran {

class HawkbitDeployer;
class HawkbitInstaller;

namespace hawkbit_deployer_fsm {
struct FSMDef;
namespace events {
struct advance;
struct cancel;
struct resume;
}  // namespace events
}  // namespace hawkbit_deployer_fsm

struct NoInstallationInProgressException : common::Exception {
    NoInstallationInProgressException() : Exception{"No installation in progress"} {}
};
struct InstallationInProgressException : common::Exception {
    InstallationInProgressException() : Exception{"An installation is already in progress"} {}
};

/// Carries out one deployment action. For each chunk it downloads and verifies every artifact,
/// hands the chunk to the installer of its part type, waits for it and deletes the files. Chunks
/// whose version is already installed are skipped. While another live deployer owns one of its file
/// names it does not begin; it owns its names until it has ended.
class HawkbitDeployer
    : public AdvancingFSM<hawkbit_deployer_fsm::FSMDef, hawkbit_deployer_fsm::events::cancel,
                          hawkbit_deployer_fsm::events::advance, HawkbitDeployer> {
public:
    using Chunk = hawkbit::DeploymentActionMessage::Chunk;
    using Artifact = hawkbit::DeploymentActionMessage::Artifact;
    using MakeHttpClient = std::function<http::Client()>;

    /// @param attributes of the target; must outlive the deployer
    /// @param deployment with its chunks in the order of installation
    /// @param make_client creates the client of each download
    /// @param download_environment other than the daemon's own is for unit tests
    HawkbitDeployer(const hawkbit::Attributes& attributes,
                    hawkbit::DeploymentActionMessage deployment, InstallerContext installer_context,
                    MakeHttpClient make_client, const DownloadOptions& download_options = {},
                    ArtifactDownload::Environment download_environment = {});
    ~HawkbitDeployer() override;

    /// One step of the deployment and of its installer.
    void tick();
    /// Ends the deployment at once if no installation is running; otherwise asks the installer to
    /// cancel.
    void cancel();

    /// Called before the deployment is given up because the daemon ends: what has arrived of an
    /// artifact is kept for the next process if downloads are resumed. A running transfer is waited
    /// for unless a stop is to end it.
    void prepare_stop();
    /// The first half of it, for a daemon that ends whatever a transfer does.
    void keep_partial_files() { keeps_partial_files = true; }

    /// Finds the interrupted installation in the action's history and continues with its chunk.
    /// Does nothing without a history. The installation is taken up once the deployer owns its file
    /// names. If it throws, the deployer is unchanged.
    /// @throws UnsupportedHistoryForResumeException, InvalidChunkStringFormatException,
    ///         ChunkNotFoundException, UnsupportedPartException
    void resume();

    [[nodiscard]] const std::string& action_id() const { return action.id(); }
    [[nodiscard]] bool is_finished() const { return finished; }
    [[nodiscard]] bool is_cancelled() const { return cancelled; }
    /// True while a running installation is being cancelled.
    [[nodiscard]] bool is_cancelling() const { return cancelling; }
    [[nodiscard]] bool is_resumed() const { return resumed; }
    /// True if the user has rejected the deployment.
    [[nodiscard]] bool is_rejected() const { return rejected; }
    /// Makes a cancellation count as a rejection by the user. The daemon does not ask users yet.
    void mark_rejected() { rejected = true; }
    [[nodiscard]] const ErrorRecord& error() const { return error_; }
    [[nodiscard]] bool has_installer() const { return installer != nullptr; }
    /// True while an installation goes on that an earlier process has started. Its tool may have
    /// yet to open its file.
    [[nodiscard]] bool has_resumed_installation() const;
    /// True while an interrupted installation is to be taken up, which its file names hold back.
    [[nodiscard]] bool has_interrupted_installation() const {
        return interrupted_installer != nullptr;
    }
    /// The report of the last installer, or the statement that the chunk was already installed.
    [[nodiscard]] const std::string& installer_output() const { return installer_output_; }
    /// Number of chunks that are done.
    [[nodiscard]] std::uint32_t chunk_index() const { return chunk_index_; }
    [[nodiscard]] std::uint32_t chunk_count() const;
    /// part:name:version of the current chunk, "" when all are done.
    [[nodiscard]] std::string current_chunk_string() const;

    [[nodiscard]] DeploymentStage stage() const { return stage_; }
    /// The current chunk; null when all are done.
    [[nodiscard]] const Chunk* current_chunk() const {
        return has_current_chunk() ? &chunk() : nullptr;
    }
    /// How far the current artifact has come; empty unless one is being downloaded.
    [[nodiscard]] std::optional<DownloadProgress> download_progress() const;
    /// Bytes of artifacts that have been received.
    [[nodiscard]] std::uint64_t received() const {
        return received_before + (download == nullptr ? 0 : download->received());
    }

    /// @name Guards, actions, entries and exits of the state machine
    /// @{
    [[nodiscard]] bool owns_files();
    [[nodiscard]] bool chunks_left();
    [[nodiscard]] bool artifacts_left();
    [[nodiscard]] bool artifact_arrived();
    [[nodiscard]] bool installer_done();
    [[nodiscard]] bool chunk_already_installed();
    void select_next_chunk();
    void select_next_artifact();
    void continue_download();
    void download_artifact();
    void verify_artifact();
    void start_installer();
    void cancel_installer();
    void remove_artifacts();
    void cleanup();
    void note_state(DeploymentStage stage) { stage_ = stage; }
    void enter_finished();
    void enter_cancelled();
    void enter_cancelling_installer() { cancelling = true; }
    void leave_cancelling_installer() { cancelling = false; }

    /// Keeps the error of an exception that a guard or an action threw.
    void exception_caught(const std::exception& error) {
        ZLOG_ERROR("event", "exception_caught", "action", "fsm_deployer_event", "what",
                   error.what());
        error_.keep_first(error);
    }
    /// @}

private:
    [[nodiscard]] bool is_device_behind_gateway() const;
    [[nodiscard]] const Chunk& chunk() const { return action.chunks()[chunk_index_]; }
    [[nodiscard]] const Artifact& artifact() const { return chunk().artifacts()[artifact_index]; }
    [[nodiscard]] bool has_current_chunk() const { return chunk_index_ < chunk_count(); }
    [[nodiscard]] bool has_current_artifact() const;
    [[nodiscard]] bool claim_files();
    [[nodiscard]] DownloadTask download_task() const;
    void begin_download();
    void end_download();
    void require_space_for_chunk() const;
    [[nodiscard]] bool is_current_chunk_recorded() const;
    [[nodiscard]] std::unique_ptr<HawkbitInstaller> make_installer(const Chunk& for_chunk) const;
    void call_for_records(HawkbitInstaller& created) const;
    [[nodiscard]] bool may_have_begun(const Chunk& interrupted) const;
    void adopt_installer(std::unique_ptr<HawkbitInstaller> new_installer);
    void release_installer();
    void continue_with(std::vector<Chunk> chunks);
    void take_up_installation();
    void send_resume();

    const hawkbit::Attributes& target_attributes;
    hawkbit::DeploymentActionMessage action;
    InstallerContext context;
    MakeHttpClient make_http_client;
    DownloadOptions downloads;
    ArtifactDownload::Environment environment;
    std::unique_ptr<ArtifactDownload> download;
    std::uint64_t received_before = 0;
    DeploymentStage stage_ = DeploymentStage::downloading;
    bool keeps_partial_files = false;
    FileClaim file_claim;
    bool waiting_logged = false;
    std::unique_ptr<HawkbitInstaller> interrupted_installer;
    std::unique_ptr<HawkbitInstaller> installer;
    std::uint32_t chunk_index_ = 0;
    std::size_t artifact_index = 0;
    bool resumed = false;
    bool cancelled = false;
    bool cancelling = false;
    bool finished = false;
    bool rejected = false;
    std::string installer_output_;
    ErrorRecord error_;
};

}  // namespace zephran
