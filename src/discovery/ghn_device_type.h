// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ghn/config_layer_command.h"

namespace zephran::discovery {

/// The kind of a device on the powerline network.
enum class DeviceType {
    unknown_parameter = 0,  ///< lacks the parameter that end devices have
    end_device = 1,         ///< gets its own agent
    no_answer = 2,          ///< configlayer failed
};

/// Classifies a device by whether it knows "DHCP.GENERAL.ENABLED_IPV4".
/// @param command addresses the device
/// @throws what ghn::GhnUtility::get_parameter_value() throws, except ConfigLayerFailedException
DeviceType get_device_type(const ghn::ConfigLayerCommand& command);

}  // namespace zephran::discovery
