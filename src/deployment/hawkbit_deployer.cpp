// SPDX-License-Identifier: Apache-2.0
#include "deployment/hawkbit_deployer.h"

#include <algorithm>
#include <utility>

#include "common/exception.h"
#include "deployment/artifact_files.h"
#include "deployment/deployment_history.h"
#include "installer/exceptions.h"
#include "installer/hawkbit_installer.h"
#include "installer/installer_factory.h"
#include "platform.h"
#include "store/device_store.h"

namespace zephran {

namespace {

constexpr DeviceStore::Caller store_rebooted{"store_rebooted"};
constexpr DeviceStore::Caller withdraw_record{"withdraw_record"};
constexpr DeviceStore::Caller record_begin{"record_begin"};

}  // namespace

HawkbitDeployer::HawkbitDeployer(const hawkbit::Attributes& attributes,
                                 hawkbit::DeploymentActionMessage deployment,
                                 InstallerContext installer_context, MakeHttpClient make_client,
                                 const DownloadOptions& download_options,
                                 ArtifactDownload::Environment download_environment)
    : AdvancingFSM{*this},
      target_attributes{attributes},
      action{std::move(deployment)},
      context{std::move(installer_context)},
      make_http_client{std::move(make_client)},
      downloads{download_options},
      environment{std::move(download_environment)} {
    static_cast<void>(claim_files());
}

HawkbitDeployer::~HawkbitDeployer() = default;

void HawkbitDeployer::tick() {
    const bool had_error = error_.has_error;
    take_up_installation();
    AdvancingFSM::tick();
    if (had_error && !finished && !cancelled) {
        cancel();
    }
    if (installer == nullptr) {
        return;
    }
    installer->tick();
    error_.keep_first(installer->error());
    if (installer->is_finished() || installer->is_cancelled()) {
        release_installer();
    }
}

void HawkbitDeployer::resume() {
    if (action.action_history().messages().empty()) {
        return;
    }
    const std::string interrupted =
        deployment_history::interrupted_chunk_string(action.action_history());
    std::vector<Chunk> remaining =
        deployment_history::remaining_chunks(action.chunks(), interrupted);
    auto resumable = make_installer(remaining.front());
    const bool may_be_taken_up = resumable->can_resume() && may_have_begun(remaining.front());

    continue_with(std::move(remaining));
    resumed = true;
    if (!may_be_taken_up) {
        ZLOG_WARNING("action", "resume", "message", "restarting chunk");
        return;
    }
    interrupted_installer = std::move(resumable);
    take_up_installation();
}

void HawkbitDeployer::take_up_installation() {
    if (interrupted_installer == nullptr || cancelled || !owns_files()) {
        return;
    }
    adopt_installer(std::move(interrupted_installer));
    send_resume();
    installer->resume();
    ZLOG_WARNING_AS("resume", "action", "resume", "message", "resuming deployment");
}

bool HawkbitDeployer::has_resumed_installation() const {
    return has_installer() && installer->is_resumed();
}

std::uint32_t HawkbitDeployer::chunk_count() const {
    return static_cast<std::uint32_t>(action.chunks().size());
}

std::string HawkbitDeployer::current_chunk_string() const {
    return has_current_chunk() ? hawkbit::chunk_string(chunk()) : std::string{};
}

bool HawkbitDeployer::is_device_behind_gateway() const {
    return !hawkbit::is_gateway(target_attributes);
}

bool HawkbitDeployer::has_current_artifact() const {
    return has_current_chunk() && artifact_index < chunk().artifacts().size();
}

void HawkbitDeployer::continue_with(std::vector<Chunk> chunks) {
    action.replace_chunks(std::move(chunks));
    chunk_index_ = 0;
    artifact_index = 0;
}

bool HawkbitDeployer::is_current_chunk_recorded() const {
    if (is_device_behind_gateway() || !has_current_chunk()) {
        return false;
    }
    const std::string recorded = HawkbitInstaller::get_installed_version(chunk().part());
    return !recorded.empty() && recorded == chunk().version();
}

std::unique_ptr<HawkbitInstaller> HawkbitDeployer::make_installer(const Chunk& for_chunk) const {
    const auto& accepted = context.accepted_parts;
    if (!accepted.empty() &&
        std::find(accepted.begin(), accepted.end(), for_chunk.part()) == accepted.end()) {
        ZEPHRAN_THROW(UnsupportedPartException{} << part_tag{for_chunk.part()});
    }
    auto created = InstallerFactory::create_installer(for_chunk.part(), context);
    created->assign(for_chunk, target_attributes, context.download_folder);
    // Between the download of a file and its use lie other downloads and other agents' steps.
    created->call_before_start([folder = context.download_folder](const Chunk& checked) {
        artifact_files::verify_all(checked, folder);
    });
    call_for_records(*created);
    return created;
}

void HawkbitDeployer::call_for_records(HawkbitInstaller& created) const {
    if (context.options.strict_records && !is_device_behind_gateway()) {
        created.call_before_overwriting([](const Chunk& overwritten) {
            DeviceStore{*platform::get_config()}.withdraw_installation(overwritten.part(),
                                                                       withdraw_record);
        });
    }
    if (context.options.strict_resume) {
        created.call_before_beginning([id = action_id()](const Chunk& begun) {
            DeviceStore store{*platform::get_config()};
            if (!store.record_begin(id, hawkbit::chunk_string(begun), record_begin)) {
                ZEPHRAN_THROW(installer::InstallationNotRecordedException{});
            }
        });
    }
}

bool HawkbitDeployer::may_have_begun(const Chunk& interrupted) const {
    return !context.options.strict_resume || DeviceStore{*platform::get_config()}.has_begun(
                                                 action_id(), hawkbit::chunk_string(interrupted));
}

void HawkbitDeployer::adopt_installer(std::unique_ptr<HawkbitInstaller> new_installer) {
    installer = std::move(new_installer);
    if (installer->will_reboot()) {
        DeviceStore{*platform::get_config()}.mark_rebooted(store_rebooted);
    }
}

void HawkbitDeployer::release_installer() {
    installer_output_ = installer->hawkbit_log();
    if (installer->will_reboot()) {
        // It is still running, so the reboot did not happen.
        DeviceStore{*platform::get_config()}.clear_reboot_mark(store_rebooted);
    }
    installer.reset();
}

}  // namespace zephran
