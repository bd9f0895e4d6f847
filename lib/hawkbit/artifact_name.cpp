// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/artifact_name.h"

#include "hawkbit/exceptions.h"

namespace zephran::hawkbit {

bool is_safe_artifact_name(const std::string& name) {
    // Spelled out because isalnum() depends on the locale.
    static const std::string safe =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._+~=@%,:-";

    return !name.empty() && name.front() != '.' && name.front() != '-' &&
           name.find_first_not_of(safe) == std::string::npos;
}

void require_safe_artifact_name(const std::string& name) {
    if (!is_safe_artifact_name(name)) {
        ZEPHRAN_THROW(UnsafeFilenameException{} << common::filename_tag{name});
    }
}

}  // namespace zephran::hawkbit
