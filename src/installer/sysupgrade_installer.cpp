#include "installer/sysupgrade_installer.h"

#include <thread>
#include <utility>

#include "common/popen.h"
#include "config.h"
#include "installer/artifact_path.h"
#include "installer/exceptions.h"
#include "installer/firmware_version.h"
#include "installer/installer_factory.h"
#include "platform.h"

namespace zephran::installer {

namespace {

const InstallerRegistration registration{"os", 10, SysupgradeInstaller::create};

constexpr const char* previous_version_key = "zephran.device.previous_version_os";
/// Holds the same until the new version is known to run.
constexpr const char* unconfirmed_version_key = "zephran.device.previous_version_os_tmp";

void store_version(const char* key, const std::string& version) {
    if (!platform::get_config()->set_option(key, version)) {
        ZLOG_WARNING("action", "store_version", "message", "could not store config entry", "key",
                     key, "value", version);
    }
}

}  // namespace

SysupgradeInstaller::SysupgradeInstaller(std::string flash_type)
    : SysupgradeInstaller{std::move(flash_type), Environment{}} {}

SysupgradeInstaller::SysupgradeInstaller(std::string flash_type, Environment environment)
    : installed_flash_type{std::move(flash_type)},
      version_file{std::move(environment.version_file)},
      upgrade_pause{environment.upgrade_pause} {}

std::unique_ptr<HawkbitInstaller> SysupgradeInstaller::create(const InstallerContext& context) {
    return std::make_unique<SysupgradeInstaller>(context.installed_flash_type);
}

void SysupgradeInstaller::start_installation() {
    const std::string running = get_installed_nevra_version(version_file);
    if (running == chunk().version()) {
        ZLOG_INFO("action", "start_installation", "message", "version is already installed",
                  "version", running);
        set_installed();
        return;
    }
    store_version(unconfirmed_version_key, running);
    platform::prepare_install(chunk());
    run_sysupgrade();
}

std::string SysupgradeInstaller::command() const {
    const std::string flash_option = installed_flash_type == "nand" ? "nand" : "";
    return "sysupgrade " + flash_option + " '" + artifact_path(chunk().artifacts().front()) + "'";
}

void SysupgradeInstaller::run_sysupgrade() {
    constexpr int handed_over = 10;
    const std::string sysupgrade = command();
    ZLOG_INFO_AS("start_installation", "event", "executing", "command", sysupgrade);

    std::string output;
    const int exit_code = common::POpen{sysupgrade}.wait(output, 0);
    if (exit_code == handed_over && output.find("Commencing upgrade") != std::string::npos) {
        // Continues after a signal: the tool ends all processes before it reboots.
        std::this_thread::sleep_for(upgrade_pause);
    }
    platform::recover_install();
    if (exit_code != 0) {
        BOOST_THROW_EXCEPTION(ProgramExecutionFailedException{}
                              << common::program_exit_code_tag{exit_code}
                              << common::program_output_tag{output});
    }
}

bool SysupgradeInstaller::installation_has_finished() {
    if (OneTickInstaller::installation_has_finished()) {
        return true;
    }
    const std::string running = get_installed_nevra_version(version_file);
    if (running != chunk().version()) {
        BOOST_THROW_EXCEPTION(VersionMismatchException{} << expected_version_tag{chunk().version()}
                                                         << found_version_tag{running});
    }
    confirm_previous_version();
    return true;
}

void SysupgradeInstaller::confirm_previous_version() const {
    Config& config = *platform::get_config();
    if (!config.has_option(unconfirmed_version_key)) {
        return;
    }
    store_version(previous_version_key, config.get_option(unconfirmed_version_key));
    if (!config.delete_option(unconfirmed_version_key)) {
        ZLOG_WARNING("action", "confirm_previous_version", "message",
                     "could not delete config entry", "key", unconfirmed_version_key);
    }
}

}  // namespace zephran::installer
