// SPDX-License-Identifier: Apache-2.0
#include "ghn/ghn_config.h"

#include <stdexcept>
#include <utility>

#include "common/logprint.h"

namespace zephran::ghn {

GhnConfig::GhnConfig(Keys option_keys, ReadOption option_reader)
    : keys{std::move(option_keys)}, read_option{std::move(option_reader)} {}

std::string GhnConfig::get_interface() const {
    return read_option(keys.interface);
}

std::string GhnConfig::get_password() const {
    const std::string own = read_option(keys.own_password);
    return own.empty() ? read_option(keys.common_password) : own;
}

common::MacAddress GhnConfig::get_controller_mac() const {
    const std::string text = read_option(keys.controller_mac);
    if (text.empty()) {
        return {};
    }
    try {
        return common::MacAddress::parse(text);
    } catch (const std::invalid_argument&) {
        // An invalid address must not prevent the gateway from updating itself.
        ZLOG_WARNING("action", "get_controller_mac", "message", "not a MAC address", "key",
                     keys.controller_mac, "value", text);
        return {};
    }
}

}  // namespace zephran::ghn
