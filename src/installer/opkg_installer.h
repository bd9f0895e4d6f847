// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "installer/installer_context.h"
#include "installer/one_tick_installer.h"

namespace zephran::installer {

/// Installs a package with the system's package manager.
class OpkgInstaller : public OneTickInstaller {
public:
    explicit OpkgInstaller(const ToolLimit& tool_limit = std::nullopt) : limit{tool_limit} {}

    static std::unique_ptr<HawkbitInstaller> create(const InstallerContext& context);

    /// The package manager keeps its own records.
    [[nodiscard]] bool records_installed_version() const override { return false; }

protected:
    /// @throws PackageInstallFailedException, common::AbnormalTerminationException,
    ///         common::POpenFailedException
    void start_installation() override;

private:
    ToolLimit limit;
};

}  // namespace zephran::installer
