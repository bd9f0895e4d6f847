// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "installer/chip_installer.h"
#include "installer/installer_context.h"

namespace zephran::installer {

/// Installs a firmware file for the service that drives the gateway's own powerline chip.
class PLCInstaller : public ChipInstaller {
public:
    /// Other values than these are for unit tests.
    struct Environment {
        std::string service = "/etc/init.d/plc";
        std::string firmware = "/lib/firmware/plc/user.nvm.tmp";
    };

    PLCInstaller();
    explicit PLCInstaller(Environment environment, const ToolLimit& tool_limit = std::nullopt);

    static std::unique_ptr<HawkbitInstaller> create(const InstallerContext& context);

protected:
    /// The service, which gives the chip its firmware, inherits no lock: it would keep it. It is
    /// started again even if the file cannot be copied.
    ///
    /// @throws ProgramExecutionFailedException, common::AbnormalTerminationException if the service
    ///         cannot be stopped or started
    /// @throws what copy_file() throws
    void write_chip() override;

private:
    void run_service(const char* action) const;
    void store_firmware(const std::string& source);

    std::string service;
    std::string firmware;
    ToolLimit limit;
};

}  // namespace zephran::installer
