// SPDX-License-Identifier: Apache-2.0
#include "deployment/free_space.h"

#include <limits>

#include <sys/statvfs.h>

#include "hawkbit/exceptions.h"

namespace zephran {

std::uint64_t free_space(const std::string& path) {
    struct statvfs status {};
    if (::statvfs(path.c_str(), &status) != 0) {
        return std::numeric_limits<std::uint64_t>::max();
    }
    return std::uint64_t{status.f_bavail} * status.f_frsize;
}

void require_space(std::uint64_t needed, std::uint64_t available) {
    if (needed > available) {
        ZEPHRAN_THROW(hawkbit::NotEnoughSpaceException{} << hawkbit::needed_tag{needed}
                                                         << hawkbit::available_tag{available});
    }
}

}  // namespace zephran
