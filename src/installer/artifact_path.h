// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "hawkbit/messages/deployment_action.h"

namespace zephran {

/// Where an artifact is downloaded to: the temporary directory followed by its file name. The name
/// comes from the network; one that could lead out of the directory is rejected.
/// @throws hawkbit::UnsafeFilenameException
std::string artifact_path(const hawkbit::DeploymentActionMessage::Artifact& artifact);

}  // namespace zephran
