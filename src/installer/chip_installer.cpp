// SPDX-License-Identifier: Apache-2.0
#include "installer/chip_installer.h"

#include <string>
#include <utility>

#include "platform.h"

namespace zephran::installer {

namespace {

std::string lock_path() {
    return std::string{platform::get_run_directory()} + "zephran.chip.lock";
}

/// Releases a lock at the end of a scope.
class Release {
public:
    explicit Release(common::LockFile& held) : lock{held} {}
    Release(const Release&) = delete;
    Release(Release&&) = delete;
    Release& operator=(const Release&) = delete;
    Release& operator=(Release&&) = delete;
    ~Release() { lock.unlock(); }

private:
    common::LockFile& lock;
};

}  // namespace

ChipInstaller::ChipInstaller() : lock{lock_path()} {}

void ChipInstaller::start_installation() {
    waiting = !write_under_lock();
    if (waiting) {
        ZLOG_WARNING("event", "waiting", "message", "a tool is still writing a chip");
    }
}

bool ChipInstaller::installation_has_finished() {
    if (waiting) {
        waiting = !write_under_lock();
    }
    return OneTickInstaller::installation_has_finished();
}

bool ChipInstaller::write_under_lock() {
    if (!lock.try_to_lock()) {
        return false;
    }
    const Release at_the_end{lock};
    if (std::exchange(waiting, false)) {
        // The artifacts may have changed while the tool was waited for.
        check_before_start();
    }
    write_chip();
    return true;
}

void ChipInstaller::cancel_installation() {
    if (!waiting) {
        OneTickInstaller::cancel_installation();
    }
    given_up = true;
}

}  // namespace zephran::installer
