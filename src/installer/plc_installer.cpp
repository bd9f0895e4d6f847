// SPDX-License-Identifier: Apache-2.0
#include "installer/plc_installer.h"

#include <utility>

#include "installer/artifact_path.h"
#include "installer/installer_factory.h"
#include "installer/system_command.h"

namespace zephran::installer {

namespace {

const InstallerRegistration registration{"plc", 40, PLCInstaller::create};

}  // namespace

PLCInstaller::PLCInstaller() : PLCInstaller{Environment{}} {}

PLCInstaller::PLCInstaller(Environment environment)
    : service{std::move(environment.service)}, firmware{std::move(environment.firmware)} {}

std::unique_ptr<HawkbitInstaller> PLCInstaller::create(const InstallerContext& /*context*/) {
    return std::make_unique<PLCInstaller>();
}

void PLCInstaller::write_chip() {
    const std::string source = artifact_path(chunk().artifacts().front());
    run_required_command(service + " stop");
    store_firmware(source);
    run_required_command(service + " start");
    set_installed();
}

void PLCInstaller::store_firmware(const std::string& source) const {
    ZLOG_INFO_AS("start_installation", "event", "copy_file", "from", source, "to", firmware,
                 "message", "storing new PLC firmware");
    try {
        copy_file(source, firmware);
    } catch (const std::exception&) {
        const std::string start = service + " start";
        if (!run_command(start)) {
            ZLOG_WARNING_AS("start_installation", "action", "start_installation", "message",
                            "could not start service again", "command", start);
        }
        throw;
    }
}

}  // namespace zephran::installer
