// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/lock_file.h"
#include "installer/one_tick_installer.h"

namespace zephran::installer {

/// A base for installers that write a chip.
///
/// Two tools on one chip destroy it, and a tool outlives a daemon that is killed. So a lock is held
/// while a chip is written, and the tool inherits it: it lasts as long as both of them. Until it is
/// free the installation does not start; the daemon asks again in each step, goes on polling, and
/// ends when it is told to. There is one lock for all chips, because part types may share one.
class ChipInstaller : public OneTickInstaller {
protected:
    ChipInstaller();

    /// Writes the chip to the end, and calls set_installed() if that has succeeded.
    virtual void write_chip() = 0;
    /// What the tools that write the chip inherit. A service must not: it would keep the lock for
    /// as long as it runs.
    [[nodiscard]] int lock_descriptor() const { return lock.descriptor(); }

    /// @throws common::OutputFileOpenException if there is no usable file for the lock
    /// @throws what write_chip() throws
    void start_installation() final;
    /// @throws the same while the start is still waited for
    [[nodiscard]] bool installation_has_finished() final;
    /// @throws CannotBeCancelledException once the installation has started
    void cancel_installation() final;
    [[nodiscard]] bool cancellation_has_finished() final { return given_up; }

private:
    [[nodiscard]] bool write_under_lock();

    common::LockFile lock;
    bool waiting = false;
    bool given_up = false;
};

}  // namespace zephran::installer
