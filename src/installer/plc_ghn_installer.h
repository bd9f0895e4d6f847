// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "common/mac_address.h"
#include "ghn/config_layer_command.h"
#include "installer/chip_installer.h"
#include "installer/installer_context.h"

namespace zephran::installer {

struct NotAGhnDeviceException : common::Exception {
    NotAGhnDeviceException() : Exception{"No G.hn controller or configuration was found"} {}
};
struct DeviceResetException : common::Exception {
    DeviceResetException() : Exception{"Device did not return after reset"} {}
};

/// Pushes firmware to a modem on the G.hn powerline network, resets it and checks its version.
class PLCGhnInstaller : public ChipInstaller {
public:
    /// Time between the reset of a device and the query of its version.
    static constexpr std::chrono::seconds default_reset_pause{2};

    /// @param device the modem
    explicit PLCGhnInstaller(const common::MacAddress& device,
                             std::chrono::milliseconds pause = default_reset_pause,
                             const InstallationOptions& installation_options = {});

    static std::unique_ptr<HawkbitInstaller> create(const InstallerContext& context);

protected:
    /// Skips a modem whose version already contains the one to install.
    ///
    /// @throws NotAGhnDeviceException if there is no configuration or no address
    /// @throws what ghn::GhnUtility::get_parameter_value() throws for the first query
    /// @throws ProgramExecutionFailedException if a tool fails
    /// @throws DeviceResetException if the modem does not answer after the reset
    /// @throws VersionMismatchException if it comes back with another version
    void write_chip() override;

private:
    [[nodiscard]] ghn::ConfigLayerCommand base_command(const std::string& interface) const;
    [[nodiscard]] std::string loggable(const ghn::ConfigLayerCommand& base,
                                       const std::string& text) const;
    void report_installed_version(const std::string& version);
    void arm_upgrade(const ghn::ConfigLayerCommand& base) const;
    void push_image(const ghn::ConfigLayerCommand& base, const std::string& interface) const;
    void report_upgrade_status(const ghn::ConfigLayerCommand& base);
    void reset_device(const ghn::ConfigLayerCommand& base) const;
    [[nodiscard]] std::string version_after_reset(const ghn::ConfigLayerCommand& base) const;

    common::MacAddress mac;
    std::chrono::milliseconds reset_pause;
    InstallationOptions options;
};

}  // namespace zephran::installer
