// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "hawkbit/messages/deployment_action.h"
#include "installer/download_folder.h"

/// The downloaded files of a deployment. Their names come from the network: files whose names could
/// lead out of the folder of their target are never touched.
namespace zephran::artifact_files {

/// Where an artifact is downloaded from: its secure link, else the other one.
/// @throws hawkbit::InsecureURLException
[[nodiscard]] std::string download_url(const hawkbit::DeploymentActionMessage::Artifact& artifact);

/// Compares the checksum of the downloaded file with the announced one. A link is not followed, and
/// neither a pipe nor a directory passes for a file.
/// @throws hawkbit::VerificationFailedException with common::filename_tag, whatever went wrong; the
///         cause is logged
void verify(const hawkbit::DeploymentActionMessage::Artifact& artifact,
            const DownloadFolder& folder);

/// Does the same for every file of a chunk.
void verify_all(const hawkbit::DeploymentActionMessage::Chunk& chunk, const DownloadFolder& folder);

/// Deletes the files of a chunk that exist.
void remove(const hawkbit::DeploymentActionMessage::Chunk& chunk, const DownloadFolder& folder);

/// Deletes what has arrived of the files of a chunk, and the records beside it.
void remove_partial(const hawkbit::DeploymentActionMessage::Chunk& chunk,
                    const DownloadFolder& folder);

}  // namespace zephran::artifact_files
