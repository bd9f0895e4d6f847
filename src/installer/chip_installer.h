// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>

#include "common/lock_file.h"
#include "installer/one_tick_installer.h"

namespace zephran::installer {

/// A base for installers that write a chip.
///
/// Two tools on one chip destroy it, and a tool outlives a daemon that is killed, as a part of a
/// tool outlives the tool. So a lock is held while a chip is written, and the tool inherits it: it
/// lasts until the installation has succeeded, or else until none of them is left. Until it is free
/// no other installation starts, and none is resumed; the daemon asks again in each step, goes on
/// polling, and ends when it is told to. There is one lock for all chips, because part types may
/// share one.
class ChipInstaller : public OneTickInstaller {
protected:
    ChipInstaller();

    /// Writes the chip to the end.
    virtual void write_chip() = 0;
    /// Asked once the tools have run to their end; after resume() an earlier process has started
    /// them. By default it says whether write_chip() has called set_installed().
    [[nodiscard]] virtual bool chip_is_written() {
        return OneTickInstaller::installation_has_finished();
    }
    /// What the tools that write the chip inherit. A service must not: it would keep the lock for
    /// as long as it runs.
    [[nodiscard]] int lock_descriptor() const { return lock.descriptor(); }

    /// For write_chip(), between two tools.
    /// @returns false if a part of one still runs, or somebody else has taken the lock meanwhile
    /// @throws common::OutputFileOpenException
    [[nodiscard]] bool no_tool_is_left();

    /// After resume(): whether a tool of an earlier process was waited for, and has ended no longer
    /// ago than this.
    [[nodiscard]] bool has_earlier_tool_ended_within(std::chrono::milliseconds time) const;

    /// @throws common::OutputFileOpenException if there is no usable file for the lock
    /// @throws what write_chip() throws
    void start_installation() final;
    /// @throws the same while the start is still waited for, or at first after resume(), and what
    ///         chip_is_written() throws
    [[nodiscard]] bool installation_has_finished() final;
    /// @throws CannotBeCancelledException once the installation has started
    void cancel_installation() final;
    [[nodiscard]] bool cancellation_has_finished() final { return given_up; }

private:
    enum class EarlierTool { unknown, writes, ended };

    [[nodiscard]] bool write_under_lock();
    [[nodiscard]] bool tool_of_earlier_process_has_ended();

    common::LockFile lock;
    EarlierTool earlier_tool = EarlierTool::unknown;
    std::optional<std::chrono::steady_clock::time_point> end_of_earlier_tool;
    bool waiting = false;
    bool given_up = false;
};

/// Whether a tool that writes a chip still runs, also one that an earlier process has started. If
/// nobody can tell, the log says why (event "exception_caught") and the answer is yes.
[[nodiscard]] bool is_chip_being_written() noexcept;

}  // namespace zephran::installer
