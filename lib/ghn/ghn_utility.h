// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <optional>
#include <string>

#include "common/popen.h"
#include "ghn/config_layer_command.h"

namespace zephran::ghn {

struct GhnUtility {
    /// Reads one parameter of a modem.
    ///
    /// The value starts one character after the first occurrence of the name in the output and ends
    /// with the output, later lines included. Trailing white space is removed.
    ///
    /// No exception shows the password, whatever the tool prints. The value may contain it.
    ///
    /// @param base addresses the modem
    /// @param stop set by another thread to end configlayer within three seconds
    /// @param limit ends configlayer, too; without one there is none beyond its own
    /// @throws ConfigLayerFailedException when the tool cannot be started or exits with a status
    ///         other than 0
    /// @throws ConfigLayerFormatException when the output lacks the name followed by "="
    /// @throws common::AbnormalTerminationException when the tool's shell was killed, also because
    ///         of the stop request or the limit
    static std::string get_parameter_value(
        const ConfigLayerCommand& base, const std::string& name,
        const std::atomic<bool>& stop = common::no_stop_request,
        const std::optional<std::chrono::milliseconds>& limit = std::nullopt);
};

}  // namespace zephran::ghn
