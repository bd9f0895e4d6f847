// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "common/file_descriptor.h"

namespace zephran::common {

/// Opens a file that an earlier process of the daemon may have left behind, to read it and to write
/// at its end. Nobody else can have had a hand in it: it is a regular file of the daemon's own
/// user, only that user may read and write it, and it has no other name. A link is not followed.
/// @returns no descriptor for anything else
[[nodiscard]] FileDescriptor open_own_file(const std::string& path);

/// Makes a file anew, for its owner alone. What had this name before is removed, never opened.
/// @throws OutputFileOpenException with filename_tag, also if a directory has this name
[[nodiscard]] FileDescriptor create_own_file(const std::string& path);

}  // namespace zephran::common
