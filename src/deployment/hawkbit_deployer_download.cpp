// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <utility>

#include "deployment/artifact_files.h"
#include "deployment/free_space.h"
#include "deployment/hawkbit_deployer.h"
#include "deployment/partial_file.h"
#include "installer/artifact_path.h"
#include "platform.h"

namespace zephran {

namespace {

std::uint64_t announced_size(const HawkbitDeployer::Artifact& artifact) {
    return static_cast<std::uint64_t>(std::max(artifact.size(), 0));
}

}  // namespace

bool HawkbitDeployer::claim_files() {
    return file_claim.acquire(
        action.chunks(),
        downloads.resume ? FileClaim::Names::of_partial_files_too : FileClaim::Names::of_artifacts,
        context.download_folder.prefix());
}

void HawkbitDeployer::prepare_stop() {
    keep_partial_files();
    if (download != nullptr && !downloads.stop_transfers) {
        download->wait();
    }
}

DownloadTask HawkbitDeployer::download_task() const {
    DownloadTask task;
    task.artifact = artifact();
    task.url = artifact_files::download_url(artifact());
    task.path = artifact_path(artifact(), context.download_folder);
    task.resumes = downloads.resume && PartialFile::is_possible(artifact(), action.chunks());
    task.checks_space = downloads.space_reserve.has_value();
    task.free_space = environment.free_space;
    return task;
}

void HawkbitDeployer::begin_download() {
    DownloadTask task = download_task();
    context.download_folder.make();
    platform::prepare_download(chunk(), artifact(), context.options.tool_limit);
    if (artifact_index == 0) {
        require_space_for_chunk();
    }
    download = std::make_unique<ArtifactDownload>(std::move(task), downloads, make_http_client,
                                                  environment);
}

void HawkbitDeployer::end_download() {
    received_before = received();
    download.reset();
}

std::optional<DownloadProgress> HawkbitDeployer::download_progress() const {
    if (stage_ != DeploymentStage::downloading || !has_current_artifact()) {
        return std::nullopt;
    }
    if (download != nullptr) {
        return download->progress();
    }
    DownloadProgress progress;
    progress.size = announced_size(artifact());
    return progress;
}

void HawkbitDeployer::require_space_for_chunk() const {
    if (!downloads.space_reserve) {
        return;
    }
    std::uint64_t needed = *downloads.space_reserve;
    for (const Artifact& each : chunk().artifacts()) {
        const std::string path = artifact_path(each, context.download_folder);
        const std::uint64_t there = downloads.resume ? PartialFile{path}.size() : 0;
        needed += announced_size(each) - std::min(announced_size(each), there);
    }
    require_space(needed, environment.free_space(context.download_folder.prefix()));
}

}  // namespace zephran
