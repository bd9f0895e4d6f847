// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "installer/chip_installer.h"
#include "installer/installer_context.h"

namespace zephran::installer {

/// Programs the Z-Wave radio chip.
class ZWProgrammerInstaller : public ChipInstaller {
public:
    static std::unique_ptr<HawkbitInstaller> create(const InstallerContext& context);

protected:
    /// @throws ProgramExecutionFailedException
    void write_chip() override;
};

}  // namespace zephran::installer
