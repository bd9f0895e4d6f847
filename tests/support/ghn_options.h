// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "support/memory_config.h"

namespace zephran {

/// Sets what a gateway on a powerline network has, except the address of its own modem.
inline void set_ghn(MemoryConfig& config, const std::string& interface,
                    const std::string& password) {
    config.values["ghn.ghn.interface"] = interface;
    config.values["ghn.ghn.password"] = password;
}

/// Sets the address of the gateway's own modem.
inline void set_controller_mac(MemoryConfig& config, const std::string& address) {
    config.values["nevra.baptization.LirnMacAddress"] = address;
}

}  // namespace zephran
