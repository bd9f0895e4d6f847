// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <map>
#include <string>

namespace zephran::hawkbit {

/// What a target tells the server about itself: its properties and its configuration data.
using Attributes = std::map<std::string, std::string>;

/// "1" for a gateway that polls only when forced, else "0".
inline constexpr const char* dormant_attribute = "dormant";
/// Type of the gateway's flash memory.
inline constexpr const char* flash_type_attribute = "installed_flash_type";
/// Names the gateway that a device is connected to; only agents of such devices have it.
inline constexpr const char* parent_attribute = "parent";

/// The attributes that the daemon itself reads or adds. Where a target has more attributes than the
/// server takes, these stay.
inline constexpr std::array own_attributes{dormant_attribute, flash_type_attribute,
                                           parent_attribute};

/// True for the target that is the gateway itself, not a device behind it.
inline bool is_gateway(const Attributes& target) {
    return target.count(parent_attribute) == 0;
}

}  // namespace zephran::hawkbit
