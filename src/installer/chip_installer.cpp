// SPDX-License-Identifier: Apache-2.0
#include "installer/chip_installer.h"

#include <string>
#include <utility>

#include <boost/exception/diagnostic_information.hpp>

#include "platform.h"

namespace zephran::installer {

namespace {

std::string lock_path() {
    return std::string{platform::get_run_directory()} + "zephran.chip.lock";
}

constexpr const char* held_message = "a tool is still writing a chip";

}  // namespace

ChipInstaller::ChipInstaller() : lock{lock_path()} {}

void ChipInstaller::start_installation() {
    waiting = !write_under_lock();
    if (waiting) {
        ZLOG_WARNING("event", "waiting", "message", held_message);
    }
}

bool ChipInstaller::installation_has_finished() {
    if (waiting) {
        waiting = !write_under_lock();
    }
    return !waiting && tool_of_earlier_process_has_ended() && chip_is_written();
}

// Before its end the chip says nothing about the result.
bool ChipInstaller::tool_of_earlier_process_has_ended() {
    if (!is_resumed() || earlier_tool == EarlierTool::ended) {
        return true;
    }
    if (lock.try_to_lock()) {
        lock.unlock();
        if (std::exchange(earlier_tool, EarlierTool::ended) == EarlierTool::writes) {
            end_of_earlier_tool = std::chrono::steady_clock::now();
        }
        return true;
    }
    if (std::exchange(earlier_tool, EarlierTool::writes) != EarlierTool::writes) {
        ZLOG_WARNING_AS("installation_has_finished", "event", "waiting", "message", held_message);
    }
    return false;
}

bool ChipInstaller::has_earlier_tool_ended_within(std::chrono::milliseconds time) const {
    return end_of_earlier_tool && std::chrono::steady_clock::now() - *end_of_earlier_tool < time;
}

bool ChipInstaller::write_under_lock() {
    if (!lock.try_to_lock()) {
        return false;
    }
    try {
        if (std::exchange(waiting, false)) {
            // The artifacts may have changed while the tool was waited for.
            check_before_start();
        }
        write_chip();
    } catch (...) {
        // A tool that was killed may have left behind what still writes.
        lock.leave();
        throw;
    }
    lock.unlock();
    return true;
}

bool ChipInstaller::no_tool_is_left() {
    lock.leave();
    return lock.try_to_lock();
}

bool is_chip_being_written() noexcept {
    try {
        common::LockFile lock{lock_path()};
        return !lock.try_to_lock();
    } catch (const std::exception& error) {
        ZLOG_WARNING("event", "exception_caught", "action", "is_chip_being_written", "what",
                     boost::diagnostic_information(error));
        return true;
    }
}

void ChipInstaller::cancel_installation() {
    if (!waiting) {
        OneTickInstaller::cancel_installation();
    }
    given_up = true;
}

}  // namespace zephran::installer
