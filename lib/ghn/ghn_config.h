#pragma once

#include <string>

#include "common/mac_address.h"

namespace zephran::ghn {

/// How the G.hn modems are reached, as the configuration store says. What is not set is empty; no
/// password is built in.
struct GhnConfig {
    /// Network interface that the modems are behind.
    static std::string get_interface();
    /// The device's own password, else the common one.
    static std::string get_password();
    /// Address of the gateway's own modem; not valid when it is not set, or, with a WARNING in the
    /// log, when it is no address.
    static common::MacAddress get_controller_mac();
};

}  // namespace zephran::ghn
