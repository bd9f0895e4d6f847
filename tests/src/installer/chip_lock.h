// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "common/lock_file.h"
#include "support/fake_platform.h"

namespace zephran::installer {

/// The file on which the installers of chips hold their lock.
inline std::string lock_of_chips(const FakePlatform& platform) {
    return platform.run.path("zephran.chip.lock");
}

/// Whether the lock can be taken, now or once a program has ended that has just been told to.
inline bool becomes_free(const std::string& path) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{20};
    while (!common::LockFile{path}.try_to_lock()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// A command for a tool that appends to the file "held" what the tool has as descriptor 3, "none"
/// for nothing.
inline std::string held_lock(const FakePlatform& platform) {
    return "{ readlink /proc/$$/fd/3 || echo none; } >>'" + platform.directory.path("held") + "'";
}

}  // namespace zephran::installer
