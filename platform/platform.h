// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "hawkbit/messages/deployment_action.h"

namespace zephran {
class AgentManager;
class Config;
}  // namespace zephran

/// What the portable core needs of the operating system. Each platform implements these functions
/// in its own library; unit tests link their own implementation.
namespace zephran::platform {

/// Creates an agent manager of this platform, not yet configured.
std::unique_ptr<AgentManager> create_agent_manager();

/// Directory for downloads, with a trailing slash.
const char* get_temp_directory();

/// Directory, with a trailing slash, for what is needed until the next boot. Only the daemon's user
/// may write to it.
const char* get_run_directory();

/// Directory, with a trailing slash, for what must survive a power cut; it need not exist yet. Only
/// the daemon's user may write to it.
const char* get_state_directory();

/// The process-wide configuration store. It lives as long as the process.
Config* get_config();

/// The longest time that a program may take; none without a value.
using Limit = std::optional<std::chrono::milliseconds>;

/// Frees space on the device before an artifact is downloaded.
void prepare_download(const hawkbit::DeploymentActionMessage::Chunk& chunk,
                      const hawkbit::DeploymentActionMessage::Artifact& artifact,
                      const Limit& limit = std::nullopt);

/// Frees space on the device before a chunk is installed.
void prepare_install(const hawkbit::DeploymentActionMessage::Chunk& chunk,
                     const Limit& limit = std::nullopt);

/// Undoes prepare_download() after a deployment has ended.
void recover_download();

/// Undoes prepare_install() after an installation that did not end in a reboot.
void recover_install();

}  // namespace zephran::platform
