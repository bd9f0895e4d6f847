// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zephran::installer {

/// Copies a file; an existing destination is overwritten. When it returns, the copy survives a
/// power cut. A source that is a link is not followed.
///
/// @throws common::InputFileOpenException, common::OutputFileOpenException,
///         common::FileWriteException, common::FileReadException, each with the path as
///         common::filename_tag
void copy_file(const std::string& source, const std::string& destination);

}  // namespace zephran::installer
