// SPDX-License-Identifier: Apache-2.0
#include "discovery/ghn_adapter.h"

#include <boost/algorithm/string/predicate.hpp>

#include "common/exception.h"
#include "ghn/exceptions.h"
#include "ghn/ghn_utility.h"

namespace zephran::discovery {

namespace {

// The server takes 128 characters of an attribute. No modem has more to say about itself.
constexpr std::size_t longest_value = 256;

const std::string& require_short(const std::string& value, const ghn::ConfigLayerCommand& command) {
    if (value.size() > longest_value) {
        // Cut off afterwards, so that no part of the password is left.
        const std::string shown = command.without_password(value);
        ZEPHRAN_THROW(ghn::ConfigLayerFormatException{}
                      << ghn::configlayer_output_tag{shown.substr(0, longest_value)});
    }
    return value;
}

bool is_usable_id(const std::string& serial_number, const ghn::ConfigLayerCommand& command) {
    return !serial_number.empty() && !boost::starts_with(serial_number, "ERROR") &&
           command.without_password(serial_number) == serial_number;
}

}  // namespace

GhnAdapter ask_adapter(const common::MacAddress& mac, const ghn::ConfigLayerCommand& command,
                       const std::atomic<bool>& stop, const ToolLimit& limit) {
    const auto value_of = [&](const char* parameter) {
        return require_short(ghn::GhnUtility::get_parameter_value(command, parameter, stop, limit),
                             command);
    };
    // Attributes leave the gateway, and what a tool prints may repeat its own command line.
    const auto attribute_of = [&](const char* parameter) {
        return command.without_password(value_of(parameter));
    };
    GhnAdapter adapter;
    adapter.properties["device_type"] = "ghn";
    adapter.properties["product_class"] = attribute_of("SYSTEM.PRODUCTION.PRODUCT_CLASS");
    adapter.properties["device_name"] = attribute_of("SYSTEM.PRODUCTION.DEVICE_NAME");
    adapter.properties["hw_revision"] = attribute_of("SYSTEM.PRODUCTION.HW_REVISION");
    adapter.properties["hw_product"] = attribute_of("SYSTEM.PRODUCTION.HW_PRODUCT");
    adapter.properties["firmware_version"] = attribute_of("SYSTEM.GENERAL.FW_VERSION");
    adapter.id = value_of("SYSTEM.PRODUCTION.SERIAL_NUMBER");
    if (!is_usable_id(adapter.id, command)) {
        adapter.id = mac.str();
    }
    adapter.context.accepted_parts = {"plc_ghn"};
    adapter.context.mac_address = mac;
    return adapter;
}

}  // namespace zephran::discovery
