// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <string>

#include "common/mac_address.h"
#include "ghn/config_layer_command.h"
#include "hawkbit/attributes.h"
#include "installer/installer_context.h"
#include "options/service_options.h"

namespace zephran::discovery {

/// What the agent of an adapter on the powerline network needs to know.
struct GhnAdapter {
    /// The serial number, or the address in lower case where there is none that can be used.
    std::string id;
    hawkbit::Attributes properties;
    /// Accepts the part type "plc_ghn" only.
    InstallerContext context;
};

/// Asks an adapter who it is. Its answers are those of a stranger; the password of the powerline
/// network is neither in the id nor in any of the properties, whatever it answers.
///
/// @param command addresses the adapter
/// @param stop, limit end the questions, see ghn::GhnUtility::get_parameter_value()
/// @throws ghn::ConfigLayerFormatException for an answer of more than 256 bytes, and what
///         ghn::GhnUtility::get_parameter_value() throws
[[nodiscard]] GhnAdapter ask_adapter(const common::MacAddress& mac,
                                     const ghn::ConfigLayerCommand& command,
                                     const std::atomic<bool>& stop,
                                     const ToolLimit& limit = std::nullopt);

}  // namespace zephran::discovery
