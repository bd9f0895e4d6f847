// SPDX-License-Identifier: Apache-2.0
#include "discovery/ghn_device_type.h"

#include "ghn/exceptions.h"
#include "ghn/ghn_utility.h"

namespace zephran::discovery {

DeviceType get_device_type(const ghn::ConfigLayerCommand& command, const std::atomic<bool>& stop,
                           const ToolLimit& limit) {
    constexpr const char* unknown_parameter_text = "ERROR -36";
    try {
        const std::string value =
            ghn::GhnUtility::get_parameter_value(command, "DHCP.GENERAL.ENABLED_IPV4", stop, limit);
        return value.find(unknown_parameter_text) == std::string::npos
                   ? DeviceType::end_device
                   : DeviceType::unknown_parameter;
    } catch (const ghn::ConfigLayerFailedException&) {
        return DeviceType::no_answer;
    }
}

}  // namespace zephran::discovery
