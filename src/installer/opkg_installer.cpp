// SPDX-License-Identifier: Apache-2.0
#include "installer/opkg_installer.h"

#include "common/popen.h"
#include "installer/exceptions.h"
#include "installer/installer_factory.h"

namespace zephran::installer {

namespace {

const InstallerRegistration registration{"opkg", 60, OpkgInstaller::create};

}  // namespace

std::unique_ptr<HawkbitInstaller> OpkgInstaller::create(const InstallerContext& context) {
    return std::make_unique<OpkgInstaller>(context.options.tool_limit);
}

void OpkgInstaller::start_installation() {
    const std::string command =
        "opkg --force-overwrite install " + path_of(chunk().artifacts().front()) + " 2>&1";
    ZLOG_INFO("action", "start_installation", "installer", "opkg", "command", command);

    std::string output;
    common::POpen tool{command};
    const int exit_code = limit ? tool.wait_for_tool(output, *limit) : tool.wait(output, 0);
    report() << output;
    if (exit_code != 0) {
        ZEPHRAN_THROW(PackageInstallFailedException{} << installer_output_tag{output}
                                                      << installer_exit_code_tag{exit_code});
    }
    set_installed();
}

}  // namespace zephran::installer
