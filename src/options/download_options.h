// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "hawkbit/messages/deployment_action.h"

namespace zephran {

class Config;

/// How artifacts are downloaded. By default each is asked for once, and the main loop waits for it.
struct DownloadOptions {
    /// Tries for one artifact.
    std::uint32_t attempts = 1;
    /// Seconds before the second try; doubles with each further one.
    std::uint32_t retry_delay = 5;
    /// Greatest number of seconds before a try.
    std::uint32_t retry_cap = 300;
    /// What has arrived is kept for the next try.
    bool resume = false;
    /// Bytes that must stay free; none: free space is not looked at.
    std::optional<std::uint64_t> space_reserve;
    /// A stop signal ends a running transfer.
    bool stop_transfers = false;

    /// Whether the main loop goes on while a transfer runs.
    [[nodiscard]] bool runs_beside_main_loop() const {
        return attempts > 1 || resume || space_reserve.has_value() || stop_transfers;
    }
};

/// Reads the options of the section "network" that are about artifacts.
[[nodiscard]] DownloadOptions read_download_options(Config& config);

/// The sum by which artifacts are verified.
[[nodiscard]] hawkbit::Digest read_digest(Config& config);

}  // namespace zephran
