// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "support/fake_platform.h"

namespace zephran::installer {

/// The file on which the installers of chips hold their lock.
inline std::string lock_of_chips(const FakePlatform& platform) {
    return platform.run.path("zephran.chip.lock");
}

/// A command for a tool that appends to the file "held" what the tool has as descriptor 3, "none"
/// for nothing.
inline std::string held_lock(const FakePlatform& platform) {
    return "{ readlink /proc/$$/fd/3 || echo none; } >>'" + platform.directory.path("held") + "'";
}

}  // namespace zephran::installer
