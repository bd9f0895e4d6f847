// SPDX-License-Identifier: Apache-2.0
#include "installer/artifact_path.h"

#include "hawkbit/artifact_name.h"

namespace zephran {

std::string artifact_path(const hawkbit::DeploymentActionMessage::Artifact& artifact,
                          const DownloadFolder& folder) {
    hawkbit::require_safe_artifact_name(artifact.filename());
    return folder.prefix() + artifact.filename();
}

}  // namespace zephran
