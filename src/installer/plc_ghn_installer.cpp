// SPDX-License-Identifier: Apache-2.0
#include "installer/plc_ghn_installer.h"

#include <thread>

#include <boost/exception/diagnostic_information.hpp>

#include "common/popen.h"
#include "ghn/ghn_config.h"
#include "ghn/ghn_utility.h"
#include "installer/command_log.h"
#include "installer/exceptions.h"
#include "installer/installer_factory.h"
#include "installer/system_command.h"
#include "platform.h"
#include "store/device_store.h"

namespace zephran::installer {

namespace {

const InstallerRegistration registration{"plc_ghn", 50, PLCGhnInstaller::create};

constexpr const char* version_parameter = "SYSTEM.GENERAL.FW_VERSION";

ghn::GhnConfig ghn_config() {
    return DeviceStore{*platform::get_config()}.ghn_config();
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// Runs a tool. The password is kept out of what it prints and its command
/// line out of the records, because both are sent to the update server.
/// @param base      knows the password
/// @param inherited descriptor that it inherits
/// @returns its exit code
int run(const std::string& command, const char* tool, const ghn::ConfigLayerCommand& base,
        int inherited, const ToolLimit& limit, std::string& output) {
    try {
        common::POpen started{command, {}, inherited};
        const int exit_code =
            limit ? started.wait_for_tool(output, *limit) : started.wait(output, 0);
        output = base.without_password(output);
        return exit_code;
    } catch (common::AbnormalTerminationException& error) {
        error << common::popen_command_tag{tool}
              << common::program_output_tag{base.without_password(output)};
        throw;
    } catch (common::Exception& error) {
        error << common::popen_command_tag{tool};
        throw;
    }
}

void require_success(int exit_code, const std::string& output) {
    if (exit_code != 0) {
        ZEPHRAN_THROW(ProgramExecutionFailedException{} << common::program_exit_code_tag{exit_code}
                                                        << common::program_output_tag{output});
    }
}

}  // namespace

PLCGhnInstaller::PLCGhnInstaller(const common::MacAddress& device, std::chrono::milliseconds pause,
                                 const InstallationOptions& installation_options)
    : mac{device}, reset_pause{pause}, options{installation_options} {}

std::unique_ptr<HawkbitInstaller> PLCGhnInstaller::create(const InstallerContext& context) {
    return std::make_unique<PLCGhnInstaller>(context.mac_address, default_reset_pause,
                                             context.options);
}

void PLCGhnInstaller::write_chip() {
    const std::string interface = ghn_config().get_interface();
    const ghn::ConfigLayerCommand base = base_command(interface);
    const std::string current = ghn::GhnUtility::get_parameter_value(
        base, version_parameter, common::no_stop_request, options.tool_limit);
    if (contains(current, chunk().version())) {
        report_installed_version(base.without_password(current));
        set_installed();
        return;
    }
    arm_upgrade(base);
    about_to_overwrite();
    push_image(base, interface);
    report_upgrade_status(base);
    reset_device(base);
    std::this_thread::sleep_for(reset_pause);

    const std::string version = version_after_reset(base);
    if (!contains(version, chunk().version())) {
        ZEPHRAN_THROW(VersionMismatchException{}
                      << expected_version_tag{chunk().version()}
                      << found_version_tag{base.without_password(version)});
    }
    set_installed();
    ZLOG_INFO_AS("start_installation", "event", "installation_finished", "installer", "plc_ghn",
                 "new_version", loggable(base, version));
}

ghn::ConfigLayerCommand PLCGhnInstaller::base_command(const std::string& interface) const {
    const std::string password = ghn_config().get_password();
    if (interface.empty() || password.empty() || !mac.is_valid()) {
        ZEPHRAN_THROW(NotAGhnDeviceException{});
    }
    ghn::ConfigLayerCommand command{options.quoting};
    command.interface(interface).password(password).mac_address(mac);
    ZLOG_INFO_AS("start_installation", "event", "start_installation", "ghn_interface", interface,
                 "ghn_password", loggable(command, password), "ghn_mac", mac);
    return command;
}

std::string PLCGhnInstaller::loggable(const ghn::ConfigLayerCommand& base,
                                      const std::string& text) const {
    return options.log_secrets ? text : base.without_password(text);
}

void PLCGhnInstaller::report_installed_version(const std::string& version) {
    report() << "Version " << chunk().version() << " is already installed\n"
             << "Reported version by G.hn controller: " << version << "\n";
}

void PLCGhnInstaller::arm_upgrade(const ghn::ConfigLayerCommand& base) const {
    const std::string command = base.clone()
                                    .operation(ghn::ConfigLayerOperation::set)
                                    .parameter("FLUPGRADE.GENERAL.SOURCE", "L2")
                                    .parameter("FLUPGRADE.GENERAL.SECTION", "OSUP")
                                    .parameter("FLUPGRADE.GENERAL.START", "YES")
                                    .build();
    log_command(loggable(base, command));
    run_required_command(command, "configlayer", lock_descriptor(), options.tool_limit);
}

void PLCGhnInstaller::push_image(const ghn::ConfigLayerCommand& base,
                                 const std::string& interface) const {
    const std::string command =
        "l2fwserver " + path_of(chunk().artifacts().front()) + " " + interface + " -m " + mac.str();
    log_command(loggable(base, command));
    std::string output;
    const int exit_code =
        run(command, "l2fwserver", base, lock_descriptor(), options.tool_limit, output);
    require_success(exit_code, output);
}

void PLCGhnInstaller::report_upgrade_status(const ghn::ConfigLayerCommand& base) {
    const std::string command = base.clone()
                                    .operation(ghn::ConfigLayerOperation::get)
                                    .parameter("FLUPGRADE.GENERAL.STATUS")
                                    .parameter("FLUPGRADE.GENERAL.LAST_UPGRADE_INFO")
                                    .build();
    std::string output;
    const int exit_code =
        run(command, "configlayer", base, lock_descriptor(), options.tool_limit, output);
    report() << output;
    require_success(exit_code, output);
}

void PLCGhnInstaller::reset_device(const ghn::ConfigLayerCommand& base) const {
    const std::string command = base.clone()
                                    .operation(ghn::ConfigLayerOperation::set)
                                    .parameter("SYSTEM.GENERAL.HW_RESET", "1")
                                    .build();
    log_command(loggable(base, command));
    run_required_command(command, "configlayer", lock_descriptor(), options.tool_limit);
}

std::string PLCGhnInstaller::version_after_reset(const ghn::ConfigLayerCommand& base) const {
    constexpr int timeout_in_seconds = 5000;
    constexpr int retries = 15;
    try {
        return ghn::GhnUtility::get_parameter_value(
            base.clone().timeout(timeout_in_seconds).retries(retries), version_parameter,
            common::no_stop_request, options.tool_limit);
    } catch (const std::exception& error) {
        ZLOG_WARNING("event", "exception_caught", "action", "version_after_reset", "what",
                     boost::diagnostic_information(error));
        ZEPHRAN_THROW(DeviceResetException{});
    }
}

}  // namespace zephran::installer
