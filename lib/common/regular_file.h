// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/file_descriptor.h"

namespace zephran::common {

/// An existing file, opened for reading. A link under its name is not followed, and a pipe is not
/// waited for: neither is a regular file. Child processes do not inherit it.
class RegularFile {
public:
    /// @throws InputFileOpenException with filename_tag if it cannot be opened or is a link
    /// @throws FileReadException with filename_tag if it is a directory, a pipe or a device
    explicit RegularFile(const std::string& file_path);

    /// The next bytes of the file, none at its end. The reference stays valid as long as the
    /// object; the next call replaces the bytes, and one that throws leaves them undefined.
    /// @throws FileReadException with filename_tag
    [[nodiscard]] const std::vector<std::uint8_t>& read();

    /// Opens a file like the constructor, for callers that go on without it.
    /// @returns no descriptor, with errno set, if it cannot be opened or is not a regular file
    [[nodiscard]] static FileDescriptor try_to_open(const std::string& path);

private:
    std::string path;
    FileDescriptor file;
    std::vector<std::uint8_t> bytes;
};

}  // namespace zephran::common
