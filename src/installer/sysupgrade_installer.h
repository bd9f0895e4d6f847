// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "common/popen.h"
#include "installer/chip_installer.h"
#include "installer/firmware_version.h"
#include "installer/installer_context.h"

namespace zephran::installer {

/// Writes a firmware image. The tool reboots the device. The installation is then resumed, and the
/// running version shows whether it has succeeded.
class SysupgradeInstaller : public ChipInstaller {
public:
    /// Other values than these are for unit tests.
    struct Environment {
        std::string version_file = nevra_version_file;
        /// The device is expected to reboot within this time after the tool has handed over.
        std::chrono::milliseconds upgrade_pause{std::chrono::seconds{300}};
    };

    /// @param flash_type the gateway property "installed_flash_type"
    explicit SysupgradeInstaller(std::string flash_type);
    SysupgradeInstaller(std::string flash_type, Environment environment,
                        const InstallationOptions& installation_options = {});

    static std::unique_ptr<HawkbitInstaller> create(const InstallerContext& context);

    [[nodiscard]] bool will_reboot() const override { return true; }
    [[nodiscard]] bool can_resume() const override { return true; }

protected:
    /// Returns only if the version is already running; otherwise the device reboots, or it throws.
    /// @throws ProgramExecutionFailedException, common::AbnormalTerminationException,
    ///         common::POpenFailedException
    void write_chip() override;
    /// @throws VersionMismatchException if another version is running after the reboot
    [[nodiscard]] bool chip_is_written() override;

private:
    void run_sysupgrade();
    int wait_for(common::POpen& tool, std::string& output) const;
    void wait_for_reboot(const std::optional<int>& exit_code, const std::string& output) const;
    [[nodiscard]] std::string command() const;
    void confirm_previous_version() const;

    std::string installed_flash_type;
    std::string version_file;
    std::chrono::milliseconds upgrade_pause;
    InstallationOptions options;
};

}  // namespace zephran::installer
