// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zephran {

class Config;

/// Whether local software may also see what the daemon is doing, and postpone a deployment. Read
/// once, at start-up; nothing is thrown.
[[nodiscard]] bool read_bus_extended(Config& config);

}  // namespace zephran
