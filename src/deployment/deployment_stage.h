// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

namespace zephran {

/// What a deployment is at, or about to begin.
enum class DeploymentStage { downloading, verifying, installing };

/// How far the download of one artifact has come.
struct DownloadProgress {
    /// Bytes of the artifact that are there; none while the main loop itself waits for a transfer.
    std::optional<std::uint64_t> bytes;
    /// The announced size.
    std::uint64_t size = 0;
    /// 1 for the first try.
    std::uint32_t attempt = 1;
};

}  // namespace zephran
