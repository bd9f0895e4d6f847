// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "common/popen.h"
#include "ghn/config_layer_command.h"
#include "options/service_options.h"

namespace zephran::discovery {

/// The kind of a modem on the powerline network.
enum class DeviceType {
    unknown_parameter = 0,  ///< lacks the parameter that adapters have
    end_device = 1,         ///< an adapter, which gets its own agent
    no_answer = 2,          ///< configlayer failed
};

/// Classifies a modem by whether it knows "DHCP.GENERAL.ENABLED_IPV4".
/// @param command addresses the modem
/// @param stop, limit end the question, see ghn::GhnUtility::get_parameter_value()
/// @throws what ghn::GhnUtility::get_parameter_value() throws, except ConfigLayerFailedException
DeviceType get_device_type(const ghn::ConfigLayerCommand& command,
                           const std::atomic<bool>& stop = common::no_stop_request,
                           const ToolLimit& limit = std::nullopt);

}  // namespace zephran::discovery
