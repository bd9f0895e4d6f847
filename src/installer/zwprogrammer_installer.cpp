// SPDX-License-Identifier: Apache-2.0
#include "installer/zwprogrammer_installer.h"

#include "installer/command_log.h"
#include "installer/installer_factory.h"
#include "installer/system_command.h"

namespace zephran::installer {

namespace {

const InstallerRegistration registration{"zw", 20, ZWProgrammerInstaller::create};

}  // namespace

std::unique_ptr<HawkbitInstaller> ZWProgrammerInstaller::create(
    const InstallerContext& /*context*/) {
    return std::make_unique<ZWProgrammerInstaller>();
}

void ZWProgrammerInstaller::write_chip() {
    const std::string command =
        "zwprogrammer --progzwave '" + path_of(chunk().artifacts().front()) + "'";
    about_to_overwrite();
    log_command(command);
    run_required_command(command, lock_descriptor());
    set_installed();
}

}  // namespace zephran::installer
