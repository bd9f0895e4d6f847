// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "installer/chip_installer.h"
#include "installer/installer_context.h"

namespace zephran::installer {

/// Writes a boot loader to a flash partition and reads it back.
class MTDInstaller : public ChipInstaller {
public:
    /// Other values than these are for unit tests.
    struct Environment {
        std::string device_directory = "/dev/";
        std::string partition_directory = "/sys/class/mtd/";
    };

    /// @param device_name    name of the partition, such as "mtd1"
    /// @param write_attempts maximum number of erase-and-write attempts
    MTDInstaller(const std::string& device_name, std::uint32_t write_attempts);
    /// @param required_label label that the partition must have, if any
    MTDInstaller(const std::string& device_name, std::uint32_t write_attempts,
                 const Environment& environment,
                 std::optional<std::string> required_label = std::nullopt);

    static std::unique_ptr<HawkbitInstaller> create(const InstallerContext& context);

protected:
    /// Skips a partition that already holds the image.
    ///
    /// @throws common::InputFileOpenException, common::FileReadException if the erase block size is
    ///         unknown
    /// @throws ProgramExecutionFailedException if the first erase fails
    /// @throws ImageTooLargeException, before anything is erased, if the partition's size can be
    ///         read and the image does not fit
    /// @throws WrongPartitionException, before anything is erased, if the partition does not have
    ///         the label that is required, or its label cannot be read
    /// @throws InstallationFailedException if no write succeeds
    /// @throws VerificationFailedException if the partition reads back differently
    void write_chip() override;

private:
    [[nodiscard]] bool holds_image() const;
    void require_room() const;
    void require_label() const;
    [[nodiscard]] std::string erase_size() const;
    [[nodiscard]] std::string erase_command() const { return "flash_erase " + device + " 0 0"; }
    [[nodiscard]] std::string write_command() const;
    [[nodiscard]] bool write_with_retries(const std::string& write);

    std::string device;
    std::string erase_size_file;
    std::string size_file;
    std::string label_file;
    std::optional<std::string> label;
    std::uint32_t attempts;
};

}  // namespace zephran::installer
