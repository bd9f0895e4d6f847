#include "deployment/hawkbit_deployer.h"

#include <algorithm>
#include <utility>

#include "deployment/artifact_files.h"
#include "deployment/deployment_history.h"
#include "hawkbit/controller.h"
#include "installer/hawkbit_installer.h"
#include "installer/installer_factory.h"
#include "platform.h"
#include "store/device_store.h"

namespace zephran {

namespace {

constexpr DeviceStore::Caller store_rebooted{"store_rebooted"};

std::string download_url(const HawkbitDeployer::Artifact& artifact) {
    const common::URI& link =
        artifact.download().empty() ? artifact.download_http() : artifact.download();
    // The transport knows more schemes, "file" among them, which are none of the server's business.
    if (link.scheme() != "https" && link.scheme() != "http") {
        BOOST_THROW_EXCEPTION(hawkbit::InsecureURLException{} << hawkbit::url_tag{link.str()});
    }
    return link.str();
}

}  // namespace

HawkbitDeployer::HawkbitDeployer(const hawkbit::Attributes& attributes,
                                 hawkbit::DeploymentActionMessage deployment,
                                 InstallerContext installer_context, MakeHttpClient make_client)
    : AdvancingFSM{*this},
      target_attributes{attributes},
      action{std::move(deployment)},
      context{std::move(installer_context)},
      make_http_client{std::move(make_client)} {}

HawkbitDeployer::~HawkbitDeployer() = default;

void HawkbitDeployer::tick() {
    const bool had_error = first_error.has_error;
    AdvancingFSM::tick();
    if (had_error && !finished && !cancelled) {
        cancel();
    }
    if (installer == nullptr) {
        return;
    }
    installer->tick();
    first_error.keep_first(installer->error());
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
    auto interrupted_installer = make_installer(remaining.front());

    continue_with(std::move(remaining));
    resumed = true;
    if (!interrupted_installer->can_resume()) {
        ZLOG_WARNING("action", "resume", "message", "restarting chunk");
        return;
    }
    adopt_installer(std::move(interrupted_installer));
    send_resume();
    installer->resume();
    ZLOG_WARNING("action", "resume", "message", "resuming deployment");
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
    return has_current_chunk() && current_artifact < chunk().artifacts().size();
}

void HawkbitDeployer::continue_with(std::vector<Chunk> chunks) {
    action.replace_chunks(std::move(chunks));
    current_chunk = 0;
    current_artifact = 0;
}

bool HawkbitDeployer::chunks_left() {
    ZLOG_DEBUG("event", "chunks_left", "fsm", fsm_identity());
    return has_current_chunk();
}

bool HawkbitDeployer::artifacts_left() {
    ZLOG_DEBUG("event", "artifacts_left", "fsm", fsm_identity());
    return has_current_artifact();
}

bool HawkbitDeployer::installer_done() {
    ZLOG_DEBUG("event", "installer_done", "fsm", fsm_identity());
    return installer == nullptr;
}

bool HawkbitDeployer::is_current_chunk_recorded() const {
    if (is_device_behind_gateway() || !has_current_chunk()) {
        return false;
    }
    const std::string recorded = HawkbitInstaller::get_installed_version(chunk().part());
    return !recorded.empty() && recorded == chunk().version();
}

bool HawkbitDeployer::chunk_already_installed() {
    const bool installed = is_current_chunk_recorded();
    ZLOG_DEBUG("event", "chunk_already_installed", "fsm", fsm_identity(), "installed", installed);
    if (installed) {
        output = "Already installed\nInstalled " + chunk().part() + " " + chunk().version() +
                 " on " + HawkbitInstaller::get_installed_version_time(chunk().part()) + "\n";
    }
    return installed;
}

void HawkbitDeployer::select_next_chunk() {
    ZLOG_DEBUG("event", "select_next_chunk", "fsm", fsm_identity());
    if (has_current_chunk()) {
        ++current_chunk;
        current_artifact = 0;
    }
}

void HawkbitDeployer::select_next_artifact() {
    ZLOG_DEBUG("event", "select_next_artifact", "fsm", fsm_identity());
    if (has_current_artifact()) {
        ++current_artifact;
    }
}

void HawkbitDeployer::download_artifact() {
    ZLOG_DEBUG("event", "download_artifact", "fsm", fsm_identity());
    const std::string file = artifact_files::path_of(artifact());
    const http::Client client = make_http_client();
    platform::prepare_download(chunk(), artifact());
    client.download_to_file(download_url(artifact()), file);
}

void HawkbitDeployer::verify_artifact() {
    ZLOG_DEBUG("event", "verify_artifact", "fsm", fsm_identity());
    artifact_files::verify(artifact());
}

void HawkbitDeployer::start_installer() {
    ZLOG_DEBUG("event", "start_installer", "fsm", fsm_identity());
    if (installer != nullptr && !installer->is_finished() && !installer->is_cancelled()) {
        BOOST_THROW_EXCEPTION(InstallationInProgressException{});
    }
    adopt_installer(make_installer(chunk()));
}

std::unique_ptr<HawkbitInstaller> HawkbitDeployer::make_installer(const Chunk& for_chunk) const {
    const auto& accepted = context.accepted_parts;
    if (!accepted.empty() &&
        std::find(accepted.begin(), accepted.end(), for_chunk.part()) == accepted.end()) {
        BOOST_THROW_EXCEPTION(UnsupportedPartException{} << part_tag{for_chunk.part()});
    }
    auto created = InstallerFactory::create_installer(for_chunk.part(), context);
    created->assign(for_chunk, target_attributes);
    return created;
}

void HawkbitDeployer::adopt_installer(std::unique_ptr<HawkbitInstaller> new_installer) {
    installer = std::move(new_installer);
    if (installer->will_reboot()) {
        DeviceStore{*platform::get_config()}.mark_rebooted(store_rebooted);
    }
}

void HawkbitDeployer::release_installer() {
    output = installer->hawkbit_log();
    if (installer->will_reboot()) {
        // It is still running, so the reboot did not happen.
        DeviceStore{*platform::get_config()}.clear_reboot_mark(store_rebooted);
    }
    installer.reset();
}

void HawkbitDeployer::cancel_installer() {
    ZLOG_DEBUG("event", "cancel_installer", "fsm", fsm_identity());
    if (installer == nullptr) {
        BOOST_THROW_EXCEPTION(NoInstallationInProgressException{});
    }
    installer->cancel();
}

void HawkbitDeployer::remove_artifacts() {
    ZLOG_DEBUG("event", "remove_artifacts", "fsm", fsm_identity());
    artifact_files::remove(chunk());
}

void HawkbitDeployer::cleanup() {
    ZLOG_DEBUG("event", "cleanup", "fsm", fsm_identity());
    std::for_each(action.chunks().begin(), action.chunks().end(), artifact_files::remove);
}

}  // namespace zephran
