// SPDX-License-Identifier: Apache-2.0
#include "installer/sysupgrade_installer.h"

#include <thread>
#include <utility>

#include "common/popen.h"
#include "installer/command_log.h"
#include "installer/exceptions.h"
#include "installer/installer_factory.h"
#include "platform.h"
#include "store/device_store.h"

namespace zephran::installer {

namespace {

const InstallerRegistration registration{"os", 10, SysupgradeInstaller::create};

constexpr DeviceStore::Caller store_version{"store_version"};

}  // namespace

SysupgradeInstaller::SysupgradeInstaller(std::string flash_type)
    : SysupgradeInstaller{std::move(flash_type), Environment{}} {}

SysupgradeInstaller::SysupgradeInstaller(std::string flash_type, Environment environment,
                                         const InstallationOptions& installation_options)
    : installed_flash_type{std::move(flash_type)},
      version_file{std::move(environment.version_file)},
      upgrade_pause{environment.upgrade_pause},
      options{installation_options} {}

std::unique_ptr<HawkbitInstaller> SysupgradeInstaller::create(const InstallerContext& context) {
    return std::make_unique<SysupgradeInstaller>(context.installed_flash_type, Environment{},
                                                 context.options);
}

void SysupgradeInstaller::write_chip() {
    const std::string running = get_installed_nevra_version(version_file);
    if (running == chunk().version()) {
        ZLOG_INFO_AS("start_installation", "action", "start_installation", "message",
                     "version is already installed", "version", running);
        set_installed();
        return;
    }
    DeviceStore{*platform::get_config()}.set_unconfirmed_previous_firmware(running, store_version);
    platform::prepare_install(chunk(), options.tool_limit);
    about_to_begin();
    run_sysupgrade();
}

std::string SysupgradeInstaller::command() const {
    const std::string flash_option = installed_flash_type == "nand" ? "nand" : "";
    return "sysupgrade " + flash_option + " '" + path_of(chunk().artifacts().front()) + "'" +
           (options.upgrade_handover == UpgradeHandover::any ? " 2>&1" : "");
}

// Continues after the tool: what it has handed over to ends all processes before it reboots.
void SysupgradeInstaller::wait_for_reboot(const std::optional<int>& exit_code,
                                          const std::string& output) const {
    constexpr int handed_over = 10;
    // The bus daemon ends while the tool still waits for its answer.
    constexpr int lost_answer = 246;
    const bool says_so = output.find("Commencing upgrade") != std::string::npos;
    const bool has_handed_over =
        options.upgrade_handover == UpgradeHandover::any
            ? says_so || exit_code == 0 || exit_code == handed_over || exit_code == lost_answer
            : says_so && exit_code == handed_over;
    if (has_handed_over) {
        std::this_thread::sleep_for(upgrade_pause);
    }
}

int SysupgradeInstaller::wait_for(common::POpen& tool, std::string& output) const {
    try {
        const int exit_code = tool.wait(output, 0);
        wait_for_reboot(exit_code, output);
        return exit_code;
    } catch (const common::AbnormalTerminationException&) {
        wait_for_reboot(std::nullopt, output);
        throw;
    }
}

void SysupgradeInstaller::run_sysupgrade() {
    const std::string sysupgrade = command();
    log_command(sysupgrade);

    std::string output;
    common::POpen tool{sysupgrade, {}, lock_descriptor()};
    const int exit_code = wait_for(tool, output);
    platform::recover_install();
    if (exit_code != 0) {
        ZEPHRAN_THROW(ProgramExecutionFailedException{} << common::program_exit_code_tag{exit_code}
                                                        << common::program_output_tag{output});
    }
}

bool SysupgradeInstaller::chip_is_written() {
    if (ChipInstaller::chip_is_written()) {
        return true;
    }
    const std::string running = get_installed_nevra_version(version_file);
    if (running != chunk().version()) {
        if (has_earlier_tool_ended_within(upgrade_pause)) {
            // It may have handed over: then the image is still needed, and the device reboots soon.
            return false;
        }
        ZEPHRAN_THROW(VersionMismatchException{} << expected_version_tag{chunk().version()}
                                                 << found_version_tag{running});
    }
    confirm_previous_version();
    return true;
}

void SysupgradeInstaller::confirm_previous_version() const {
    DeviceStore store{*platform::get_config()};
    if (const auto previous = store.unconfirmed_previous_firmware()) {
        store.set_previous_firmware(*previous, store_version);
        store.remove_unconfirmed_previous_firmware({"confirm_previous_version"});
    }
}

}  // namespace zephran::installer
