// SPDX-License-Identifier: Apache-2.0
#include "openwrt/uci_config_wrapper.h"

#include "uci/uci_config.h"

namespace zephran::platform::openwrt {

bool UciConfigWrapper::has_option(const std::string& key) {
    return UciConfig::Default.has_option(key);
}

std::string UciConfigWrapper::get_option(const std::string& key) {
    return UciConfig::Default.get_option(key);
}

bool UciConfigWrapper::set_option(const std::string& key, const std::string& value) {
    return UciConfig::Default.set_option(key, value);
}

bool UciConfigWrapper::delete_option(const std::string& key) {
    return UciConfig::Default.delete_option(key);
}

}  // namespace zephran::platform::openwrt
