// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "hawkbit/messages/deployment_action.h"
#include "installer/download_folder.h"

namespace zephran {

/// Where an artifact is downloaded to: the folder of its target followed by its file name. The name
/// comes from the network; one that could lead out of the folder is rejected.
/// @throws hawkbit::UnsafeFilenameException
std::string artifact_path(const hawkbit::DeploymentActionMessage::Artifact& artifact,
                          const DownloadFolder& folder);

}  // namespace zephran
