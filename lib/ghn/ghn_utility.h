#pragma once

#include <string>

#include "ghn/config_layer_command.h"

namespace zephran::ghn {

struct GhnUtility {
    /// Reads one parameter of a modem, and waits for the answer as long as configlayer does.
    ///
    /// The value is what follows the first mention of the name in the tool's output, one character
    /// further on, up to the end: later lines belong to it. White space at its end is removed.
    ///
    /// @param base names the modem and how to reach it
    /// @throws ConfigLayerFailedException when the tool cannot be started, or ends with another
    ///         status than 0
    /// @throws ConfigLayerFormatException when the output lacks the name followed by "="
    /// @throws common::AbnormalTerminationException when the tool's shell was killed
    static std::string get_parameter_value(const ConfigLayerCommand& base, const std::string& name);
};

}  // namespace zephran::ghn
