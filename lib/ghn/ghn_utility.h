// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "ghn/config_layer_command.h"

namespace zephran::ghn {

struct GhnUtility {
    /// Reads one parameter of a modem. There is no time limit beyond configlayer's own.
    ///
    /// The value starts one character after the first occurrence of the name in the output and ends
    /// with the output, later lines included. Trailing white space is removed.
    ///
    /// No exception shows the password, whatever the tool prints. The value may contain it.
    ///
    /// @param base addresses the modem
    /// @throws ConfigLayerFailedException when the tool cannot be started or exits with a status
    ///         other than 0
    /// @throws ConfigLayerFormatException when the output lacks the name followed by "="
    /// @throws common::AbnormalTerminationException when the tool's shell was killed
    static std::string get_parameter_value(const ConfigLayerCommand& base, const std::string& name);
};

}  // namespace zephran::ghn
