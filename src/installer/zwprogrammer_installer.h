#pragma once

#include <memory>

#include "installer/one_tick_installer.h"
#include "installer_context.h"

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
