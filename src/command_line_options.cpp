// SPDX-License-Identifier: Apache-2.0
#include "command_line_options.h"

#include <fstream>
#include <iostream>

#include <boost/program_options/parsers.hpp>
#include <boost/program_options/value_semantic.hpp>

namespace zephran {

namespace po = boost::program_options;

const std::string CommandLineOptions::bootloader_mtd_arg = "bootloader-mtd";
const std::string CommandLineOptions::device_id_arg = "device-id";
const std::string CommandLineOptions::hawkbit_server_arg = "hawkbit-server";
const std::string CommandLineOptions::installed_flash_type_arg = "installed-flash-type";
const std::string CommandLineOptions::log_level_arg = "log-level";
const std::string CommandLineOptions::help_arg = "help";
const std::string CommandLineOptions::dormant_arg = "dormant";
const std::string CommandLineOptions::client_certificate_arg = "client-certificate";
const std::string CommandLineOptions::client_certificate_key_arg = "client-certificate-key";
const std::string CommandLineOptions::properties_file_arg = "properties-file";
const std::string CommandLineOptions::ghn_agents_arg = "ghn-agents";
const std::string CommandLineOptions::ca_bundle_arg = "ca-bundle";

namespace {

bool can_be_read(const std::string& path) {
    return std::ifstream{path}.is_open();
}

}  // namespace

CommandLineOptions::CommandLineOptions() : description{"Available options"} {
    const auto add = [this](const std::string& name, const po::value_semantic* value,
                            const char* help) {
        description.add_options()(name.c_str(), value, help);
    };
    add(bootloader_mtd_arg, po::value(&bootloader_mtd), "MTD device to use for bootloader updates");
    add(device_id_arg, po::value(&device_id), "ID of the device to represent");
    add(hawkbit_server_arg, po::value(&hawkbit_server),
        "hostname or address of the hawkbit server to get software updates from");
    add(installed_flash_type_arg, po::value(&installed_flash_type),
        "used for storing the roll out (if omitted defaults to nand; every other argument than "
        "'nand' uses nor)");
    add(log_level_arg, po::value(&log_level),
        "level equal or above at which log messages are produced (DEBUG, INFO, WARNING, ERROR)");
    description.add_options()(help_arg.c_str(), "produce help message");
    add(dormant_arg, po::value(&dormant), "start the gateway agent as inactive");
    add(client_certificate_arg, po::value(&client_certificate),
        "path to PEM encoded client certificate");
    add(client_certificate_key_arg, po::value(&client_certificate_key),
        "path to client certificate private key");
    add(properties_file_arg, po::value(&properties_file),
        "path to a JSON file with gateway properties to send to the hawkBit");
    add(ghn_agents_arg, po::bool_switch(&ghn_agents),
        "pass this option to enable G.hn LAN agent discovery");
    add(ca_bundle_arg, po::value(&ca_bundle), "path to a custom CA bundle");
}

CommandLineOptions::~CommandLineOptions() = default;

void CommandLineOptions::from_command_line(int argc, const char* const* argv) {
    // An abbreviated name is an unknown option.
    constexpr int style =
        po::command_line_style::default_style & ~po::command_line_style::allow_guessing;
    po::store(po::command_line_parser(argc, argv)
                  .options(description)
                  .style(style)
                  .allow_unregistered()
                  .run(),
              variables);
    if (argc == 1) {
        variables.emplace(help_arg, po::variable_value{});
    }
    po::notify(variables);
}

int CommandLineOptions::check() const {
    if (has(help_arg)) {
        print_help_message(std::cout);
        return help_printed;
    }
    if (!has(device_id_arg)) {
        return fail_with_help("Error: You must specify the device ID\n");
    }
    if (!has(hawkbit_server_arg)) {
        return fail_with_help("Error: You must specify the hawkbit server hostname or address\n");
    }
    if (has(log_level_arg) && !is_valid_log_level(log_level)) {
        std::cout << "Warning: Unknown log level specified, using default\n";
    }
    if (check_client_certificate() == failed) {
        return failed;
    }
    if (has(properties_file_arg) && !can_be_read(properties_file)) {
        std::cerr << "Error: could not find properties file at " << properties_file
                  << ", ignoring\n";
    }
    return check_ca_bundle();
}

int CommandLineOptions::fail_with_help(const std::string& sentence) const {
    std::cerr << sentence << '\n';
    print_help_message(std::cerr);
    return failed;
}

int CommandLineOptions::check_client_certificate() const {
    if (has(client_certificate_arg) != has(client_certificate_key_arg)) {
        return fail_with_help(
            "Error: you must specify both a client certificate and client certificate key");
    }
    if (!has(client_certificate_arg)) {
        return may_continue;
    }
    const bool has_certificate = can_be_read(client_certificate);
    const bool has_key = can_be_read(client_certificate_key);
    if (!has_certificate) {
        std::cerr << "Error: could not find client certificate path: " << client_certificate
                  << '\n';
    }
    if (!has_key) {
        std::cerr << "Error: could not find client certificate key path: " << client_certificate_key
                  << '\n';
    }
    if (!has_certificate || !has_key) {
        print_help_message(std::cerr);
        return failed;
    }
    return may_continue;
}

int CommandLineOptions::check_ca_bundle() const {
    if (has(ca_bundle_arg) && !can_be_read(ca_bundle)) {
        std::cerr << "Error: could not find CA bundle at " << ca_bundle << '\n';
        return failed;
    }
    return may_continue;
}

bool CommandLineOptions::is_valid_log_level(const std::string& level) {
    return level == "ERROR" || level == "WARNING" || level == "INFO" || level == "DEBUG";
}

void CommandLineOptions::print_help_message(std::ostream& stream) const {
    stream << description << '\n';
}

std::string CommandLineOptions::get_log_level() const {
    return is_valid_log_level(log_level) ? log_level : "INFO";
}

}  // namespace zephran
