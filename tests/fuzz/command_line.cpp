// SPDX-License-Identifier: Apache-2.0
// The arguments of the daemon.
#include <boost/exception/exception.hpp>

#include "command_line_options.h"
#include "fuzz/target.h"

namespace zephran::fuzz {

namespace {

bool is_level(const std::string& level) {
    return level == "ERROR" || level == "WARNING" || level == "INFO" || level == "DEBUG";
}

void look_at(const CommandLineOptions& options) {
    if (options.check() == CommandLineOptions::may_continue) {
        require(options.has(CommandLineOptions::device_id_arg) &&
                    options.has(CommandLineOptions::hawkbit_server_arg),
                "the daemon does not start without a name and a server");
        require(options.has(CommandLineOptions::client_certificate_arg) ==
                    options.has(CommandLineOptions::client_certificate_key_arg),
                "a certificate has a key");
    }
    require(is_level(options.get_log_level()), "there is always a level for the log");
}

}  // namespace

void try_input(Input input) {
    const auto arguments = input.texts();
    std::vector<const char*> argv{"zephran"};
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    const auto argc = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    CommandLineOptions options;
    try {
        options.from_command_line(argc, argv.data());
    } catch (const boost::exception&) {
        // main() takes these for failures of the start; anything else would end it without a word.
        return;
    }
    look_at(options);
}

}  // namespace zephran::fuzz
