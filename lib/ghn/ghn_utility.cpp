// SPDX-License-Identifier: Apache-2.0
#include "ghn/ghn_utility.h"

#include <boost/algorithm/string/trim.hpp>
#include <boost/exception/errinfo_errno.hpp>

#include "ghn/exceptions.h"

namespace zephran::ghn {

namespace {

ZEPHRAN_REPORTED(configlayer_output);

/// Runs the command.
/// @returns its exit code
int run(const ConfigLayerCommand& command, std::string& output, const std::atomic<bool>& stop,
        const std::optional<std::chrono::milliseconds>& limit) {
    try {
        common::POpen tool{command.build()};
        return limit ? tool.wait_for_tool(output, *limit, stop) : tool.wait(output, stop);
    } catch (const common::POpenFailedException& error) {
        ConfigLayerFailedException failure;
        if (const int* const reason = boost::get_error_info<boost::errinfo_errno>(error)) {
            failure << boost::errinfo_errno{*reason};
        }
        ZEPHRAN_THROW(failure);
    } catch (common::AbnormalTerminationException& error) {
        // Records are sent to the update server, and the command line contains the password.
        error << common::popen_command_tag{"configlayer"}
              << common::program_output_tag{command.without_password(output)};
        throw;
    }
}

}  // namespace

std::string GhnUtility::get_parameter_value(const ConfigLayerCommand& base, const std::string& name,
                                            const std::atomic<bool>& stop,
                                            const std::optional<std::chrono::milliseconds>& limit) {
    std::string output;
    const int exit_code =
        run(base.clone().operation(ConfigLayerOperation::get).parameter(name), output, stop, limit);
    if (exit_code != 0) {
        ZEPHRAN_THROW(ConfigLayerFailedException{}
                      << common::program_exit_code_tag{exit_code}
                      << configlayer_output_tag{base.without_password(output)});
    }
    if (output.find(name + "=") == std::string::npos) {
        ZEPHRAN_THROW(ConfigLayerFormatException{}
                      << configlayer_output_tag{base.without_password(output)});
    }
    // The first occurrence counts, even if only a later one is followed by "=".
    return boost::trim_right_copy(output.substr(output.find(name) + name.size() + 1));
}

}  // namespace zephran::ghn
