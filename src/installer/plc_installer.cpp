// SPDX-License-Identifier: Apache-2.0
#include "installer/plc_installer.h"

#include <utility>

#include "installer/installer_factory.h"
#include "installer/system_command.h"

namespace zephran::installer {

namespace {

const InstallerRegistration registration{"plc", 40, PLCInstaller::create};

}  // namespace

PLCInstaller::PLCInstaller() : PLCInstaller{Environment{}} {}

PLCInstaller::PLCInstaller(Environment environment, const ToolLimit& tool_limit)
    : service{std::move(environment.service)},
      firmware{std::move(environment.firmware)},
      limit{tool_limit} {}

std::unique_ptr<HawkbitInstaller> PLCInstaller::create(const InstallerContext& context) {
    return std::make_unique<PLCInstaller>(Environment{}, context.options.tool_limit);
}

void PLCInstaller::write_chip() {
    const std::string source = path_of(chunk().artifacts().front());
    run_service("stop");
    store_firmware(source);
    run_service("start");
    set_installed();
}

void PLCInstaller::run_service(const char* action) const {
    constexpr int nothing = -1;
    run_required_command(service + " " + action, nothing, limit);
}

void PLCInstaller::store_firmware(const std::string& source) {
    ZLOG_INFO_AS("start_installation", "event", "copy_file", "from", source, "to", firmware,
                 "message", "storing new PLC firmware");
    about_to_overwrite();
    try {
        copy_file(source, firmware);
    } catch (const std::exception&) {
        const std::string start = service + " start";
        constexpr int nothing = -1;
        if (!run_command(start, nothing, limit)) {
            ZLOG_WARNING_AS("start_installation", "action", "start_installation", "message",
                            "could not start service again", "command", start);
        }
        throw;
    }
}

}  // namespace zephran::installer
