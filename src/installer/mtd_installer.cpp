// SPDX-License-Identifier: Apache-2.0
#include "installer/mtd_installer.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "installer/artifact_digest.h"
#include "installer/command_log.h"
#include "installer/exceptions.h"
#include "installer/installer_factory.h"
#include "installer/system_command.h"

namespace zephran::installer {

namespace {

const InstallerRegistration registration{"bl", 30, MTDInstaller::create};

/// A number that is alone in a file, negative if there is none.
std::int64_t read_number(const std::string& path) {
    std::ifstream file{path};
    std::int64_t number = -1;
    std::string rest;
    return file >> number && !(file >> rest) ? number : -1;
}

std::int64_t file_size(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? std::int64_t{status.st_size} : 0;
}

}  // namespace

MTDInstaller::MTDInstaller(const std::string& device_name, std::uint32_t write_attempts)
    : MTDInstaller{device_name, write_attempts, Environment{}} {}

MTDInstaller::MTDInstaller(const std::string& device_name, std::uint32_t write_attempts,
                           const Environment& environment,
                           std::optional<std::string> required_label)
    : device{environment.device_directory + device_name},
      erase_size_file{environment.partition_directory + device_name + "/erasesize"},
      size_file{environment.partition_directory + device_name + "/size"},
      label_file{environment.partition_directory + device_name + "/name"},
      label{std::move(required_label)},
      attempts{write_attempts} {}

std::unique_ptr<HawkbitInstaller> MTDInstaller::create(const InstallerContext& context) {
    return std::make_unique<MTDInstaller>(context.bootloader_mtd, context.mtd_write_attempts,
                                          Environment{}, context.options.bootloader_label);
}

void MTDInstaller::write_chip() {
    if (holds_image()) {
        ZLOG_INFO_AS("start_installation", "event", "skip_installation", "message",
                     "artifact is identical to flashed content");
        set_installed();
        return;
    }
    require_label();
    const std::string write = write_command();
    require_room();
    about_to_overwrite();
    log_command(erase_command());
    run_required_command(erase_command(), lock_descriptor());
    if (!write_with_retries(write)) {
        ZEPHRAN_THROW(InstallationFailedException{} << common::filename_tag{device});
    }
    ::sync();
    if (!holds_image()) {
        ZEPHRAN_THROW(VerificationFailedException{} << common::filename_tag{device});
    }
    set_installed();
}

bool MTDInstaller::holds_image() const {
    const auto& image = chunk().artifacts().front();
    return artifact_digest::of_file(image, device, static_cast<std::size_t>(image.size())) ==
           artifact_digest::stated(image);
}

void MTDInstaller::require_room() const {
    const auto& image = chunk().artifacts().front();
    // The tool writes the file, whatever size the server has stated.
    const std::int64_t size = std::max<std::int64_t>(image.size(), file_size(path_of(image)));
    const std::int64_t room = read_number(size_file);
    if (room >= 0 && size > room) {
        ZEPHRAN_THROW(ImageTooLargeException{} << common::filename_tag{device}
                                               << image_size_tag{size} << partition_size_tag{room});
    }
}

// The numbers of partitions differ between devices and kernels, and the tools erase any of them.
void MTDInstaller::require_label() const {
    if (!label) {
        return;
    }
    std::ifstream file{label_file};
    std::string found;
    std::getline(file, found);
    if (found != *label) {
        ZEPHRAN_THROW(WrongPartitionException{} << common::filename_tag{device}
                                                << expected_label_tag{*label}
                                                << found_label_tag{found});
    }
}

// The text is passed to dd unchanged.
std::string MTDInstaller::erase_size() const {
    std::ifstream file{erase_size_file};
    if (!file) {
        ZEPHRAN_THROW(common::InputFileOpenException{} << common::filename_tag{erase_size_file});
    }
    std::string line;
    if (!std::getline(file, line) || line.empty()) {
        ZEPHRAN_THROW(common::FileReadException{} << common::filename_tag{erase_size_file});
    }
    return line;
}

std::string MTDInstaller::write_command() const {
    return "dd if=" + path_of(chunk().artifacts().front()) + " of=" + device +
           " bs=" + erase_size();
}

bool MTDInstaller::write_with_retries(const std::string& write) {
    constexpr std::chrono::milliseconds pause{10};
    bool erased = true;
    for (std::uint32_t attempt = 0; attempt < attempts; ++attempt) {
        if (erased) {
            log_command(write);
            if (run_command(write, lock_descriptor())) {
                return true;
            }
        }
        std::this_thread::sleep_for(pause);
        if (!no_tool_is_left()) {
            return false;
        }
        log_command(erase_command());
        erased = run_command(erase_command(), lock_descriptor());
    }
    return false;
}

}  // namespace zephran::installer
