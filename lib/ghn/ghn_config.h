// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "common/mac_address.h"

namespace zephran::ghn {

/// How the G.hn modems are reached. Every getter reads the device's configuration anew. What is not
/// set is empty; no password is built in.
class GhnConfig {
public:
    /// The options that hold the values.
    struct Keys {
        std::string interface;
        std::string own_password;
        std::string common_password;
        std::string controller_mac;
    };
    /// Returns the value of an option, "" when it is not set. Called on the thread of the getter.
    using ReadOption = std::function<std::string(const std::string& key)>;

    GhnConfig(Keys option_keys, ReadOption option_reader);

    /// Network interface that the modems are behind.
    [[nodiscard]] std::string get_interface() const;
    /// The device's own password, else the common one.
    [[nodiscard]] std::string get_password() const;
    /// Address of the gateway's own modem. It is not valid when the option is not set, or is not an
    /// address, which is logged at WARNING.
    [[nodiscard]] common::MacAddress get_controller_mac() const;

private:
    Keys keys;
    ReadOption read_option;
};

}  // namespace zephran::ghn
