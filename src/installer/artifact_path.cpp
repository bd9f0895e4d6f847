// SPDX-License-Identifier: Apache-2.0
#include "installer/artifact_path.h"

#include "hawkbit/artifact_name.h"
#include "platform.h"

namespace zephran {

std::string artifact_path(const hawkbit::DeploymentActionMessage::Artifact& artifact) {
    hawkbit::require_safe_artifact_name(artifact.filename());
    return platform::get_temp_directory() + artifact.filename();
}

}  // namespace zephran
