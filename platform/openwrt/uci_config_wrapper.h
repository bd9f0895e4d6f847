// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "config.h"

namespace zephran::platform::openwrt {

/// The configuration store of the device: every operation goes to UciConfig::Default.
class UciConfigWrapper : public Config {
public:
    [[nodiscard]] bool has_option(const std::string& key) override;
    [[nodiscard]] std::string get_option(const std::string& key) override;
    [[nodiscard]] bool set_option(const std::string& key, const std::string& value) override;
    [[nodiscard]] bool delete_option(const std::string& key) override;
};

}  // namespace zephran::platform::openwrt
