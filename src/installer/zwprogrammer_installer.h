// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "installer/installer_context.h"
#include "installer/one_tick_installer.h"

namespace zephran::installer {

/// Programs the Z-Wave radio chip.
class ZWProgrammerInstaller : public OneTickInstaller {
public:
    static std::unique_ptr<HawkbitInstaller> create(const InstallerContext& context);

protected:
    /// @throws ProgramExecutionFailedException
    void start_installation() override;
};

}  // namespace zephran::installer
