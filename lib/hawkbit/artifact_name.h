// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zephran::hawkbit {

/// True for a name that stays inside its directory and means nothing to a shell or as an option:
/// not empty, not beginning with "." or "-", only ASCII letters, digits and ._+~=@%,:- in it.
/// The server hands out whatever name was typed at the upload.
[[nodiscard]] bool is_safe_artifact_name(const std::string& name);

/// @throws UnsafeFilenameException with common::filename_tag
void require_safe_artifact_name(const std::string& name);

}  // namespace zephran::hawkbit
