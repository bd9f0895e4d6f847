// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/variables_map.hpp>

namespace zephran {

/// The daemon's command line. Errors are reported as plain sentences, not as log lines.
class CommandLineOptions {
public:
    static const std::string bootloader_mtd_arg;
    static const std::string device_id_arg;
    static const std::string hawkbit_server_arg;
    static const std::string installed_flash_type_arg;
    static const std::string log_level_arg;
    static const std::string help_arg;
    static const std::string dormant_arg;
    static const std::string client_certificate_arg;
    static const std::string client_certificate_key_arg;
    static const std::string properties_file_arg;
    static const std::string ghn_agents_arg;
    static const std::string ca_bundle_arg;

    /// What the caller does after check().
    enum CheckResult { help_printed = 0, failed = 1, may_continue = 2 };

    CommandLineOptions();
    CommandLineOptions(const CommandLineOptions&) = delete;
    CommandLineOptions& operator=(const CommandLineOptions&) = delete;
    virtual ~CommandLineOptions();

    /// Unknown options are ignored; no arguments at all count as "--help".
    /// @throws boost::program_options::error for a missing or malformed value
    void from_command_line(int argc, const char* const* argv);

    /// Prints what is wrong with the options, or the help.
    /// @returns one of CheckResult
    [[nodiscard]] int check() const;

    /// True only for "ERROR", "WARNING", "INFO" and "DEBUG".
    [[nodiscard]] static bool is_valid_log_level(const std::string& level);

    void print_help_message(std::ostream& stream) const;

    /// True when the option was given.
    [[nodiscard]] bool has(const std::string& option) const { return variables.count(option) != 0; }

    [[nodiscard]] const std::string& get_bootloader_mtd() const { return bootloader_mtd; }
    [[nodiscard]] const std::string& get_device_id() const { return device_id; }
    [[nodiscard]] const std::string& get_hawkbit_server() const { return hawkbit_server; }
    /// The given level, or "INFO" when none or an unknown one was given.
    [[nodiscard]] std::string get_log_level() const;
    [[nodiscard]] const std::string& get_client_certificate() const { return client_certificate; }
    [[nodiscard]] const std::string& get_client_certificate_key() const {
        return client_certificate_key;
    }
    [[nodiscard]] bool is_dormant() const { return dormant; }
    [[nodiscard]] bool has_ghn_agents() const { return ghn_agents; }
    [[nodiscard]] const std::string& get_properties_file() const { return properties_file; }
    [[nodiscard]] const std::string& get_ca_bundle() const { return ca_bundle; }

private:
    [[nodiscard]] int fail_with_help(const std::string& sentence) const;
    [[nodiscard]] int check_client_certificate() const;
    [[nodiscard]] int check_ca_bundle() const;

    std::string bootloader_mtd;
    std::string device_id;
    std::string hawkbit_server;
    boost::program_options::options_description description;
    boost::program_options::variables_map variables;
    std::string installed_flash_type;
    std::string log_level;
    std::string client_certificate;
    std::string client_certificate_key;
    bool dormant = false;
    bool ghn_agents = false;
    std::string properties_file;
    std::string ca_bundle;
};

}  // namespace zephran
