#pragma once

#include "ghn/config_layer_command.h"

namespace zephran::discovery {

/// What a device of the powerline network turned out to be.
enum class DeviceType {
    unknown_parameter = 0,  ///< it does not know the parameter that end devices have
    end_device = 1,         ///< one that gets an agent of its own
    no_answer = 2,          ///< configlayer could not ask it
};

/// Classifies a device by whether it knows "DHCP.GENERAL.ENABLED_IPV4".
/// @param command names the device and how to reach it
/// @throws what ghn::GhnUtility::get_parameter_value() throws, save ConfigLayerFailedException
DeviceType get_device_type(const ghn::ConfigLayerCommand& command);

}  // namespace zephran::discovery
