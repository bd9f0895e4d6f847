// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zephran::installer {

/// The MD5 digest (16 bytes) of at most the first `size` bytes of a file. A file that cannot be
/// opened gives the digest of empty content.
/// @throws crypto::MD5Exception
std::vector<std::uint8_t> get_file_md5(const std::string& path, std::size_t size);

}  // namespace zephran::installer
