#pragma once

#include <string>

namespace zephran::installer {

/// Replaces the destination with the bytes of the source.
///
/// @throws common::InputFileOpenException, common::OutputFileOpenException,
///         common::FileWriteException, common::FileReadException, each with the path as
///         common::filename_tag
void copy_file(const std::string& source, const std::string& destination);

}  // namespace zephran::installer
