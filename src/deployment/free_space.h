// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace zephran {

/// Bytes that are free in the file system of a path. One that cannot be asked about counts as
/// having room without end: the download itself finds out.
[[nodiscard]] std::uint64_t free_space(const std::string& path);

/// @throws hawkbit::NotEnoughSpaceException with needed_tag, available_tag
void require_space(std::uint64_t needed, std::uint64_t available);

}  // namespace zephran
