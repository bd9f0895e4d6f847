#include "ghn/ghn_config.h"

#include <stdexcept>

#include "common/logprint.h"
#include "uci/exceptions.h"
#include "uci/uci_config.h"

namespace zephran::ghn {

namespace {

std::string option_or_empty(const std::string& key) {
    try {
        return UciConfig::Default.get_option(key);
    } catch (const PackageNotFoundException&) {
        return {};
    }
}

}  // namespace

std::string GhnConfig::get_interface() {
    return option_or_empty("ghn.ghn.interface");
}

std::string GhnConfig::get_password() {
    const std::string own = option_or_empty("nevra-private.baptization.PwdGhnConfig");
    return own.empty() ? option_or_empty("ghn.ghn.password") : own;
}

common::MacAddress GhnConfig::get_controller_mac() {
    constexpr const char* key = "nevra.baptization.LirnMacAddress";
    const std::string text = option_or_empty(key);
    if (text.empty()) {
        return {};
    }
    try {
        return common::MacAddress::parse(text);
    } catch (const std::invalid_argument&) {
        // A wrong address must not keep the gateway from its own updates.
        ZLOG_WARNING("action", "get_controller_mac", "message", "not a MAC address", "key", key,
                     "value", text);
        return {};
    }
}

}  // namespace zephran::ghn
