// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/uri.h"
#include "hawkbit/messages/deployment_action.h"
#include "installer/download_folder.h"

/// What earlier processes have left of downloads.
namespace zephran::leftovers {

using Chunks = std::vector<hawkbit::DeploymentActionMessage::Chunk>;

/// Makes the download directory, or takes it over from an earlier process: the folders of targets
/// in it are emptied, but for partial files that can be gone on with. Other things in it are left
/// alone. It is refused, with one line in the log (event "download_dir_refused"), if it is a link
/// or another user's, or if its mode is not 0700 and it holds anything else.
///
/// Nothing is deleted while something is still in use, which one line in the log says (event
/// "download_swept"); the next start makes up for it.
/// @param wanted path without a trailing slash, if there is to be one
/// @param keeps_partial_files downloads are resumed
/// @param is_in_use whether a tool that an earlier process has started may still read artifacts;
///        asked only if there is a directory
/// @returns its path, "" for none
[[nodiscard]] std::string take_over(const std::optional<std::string>& wanted,
                                    bool keeps_partial_files,
                                    const std::function<bool()>& is_in_use);

/// Deletes the partial files of a target that are of no artifact of the only action that is open
/// for it. In a shared folder they are known by the address they come from.
/// @param target_address of the target at the update server
/// @param open_action chunks of the open action; empty without one
void remove_unwanted(const DownloadFolder& folder, const common::URI& target_address,
                     const Chunks& open_action);

}  // namespace zephran::leftovers
