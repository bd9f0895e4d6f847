// SPDX-License-Identifier: Apache-2.0
#include "discovery/ghn_discovery_handler.h"

#include <algorithm>
#include <iterator>

#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/split.hpp>

#include "common/logprint.h"
#include "discovery/ghn_device_type.h"
#include "ghn/ghn_config.h"
#include "ghn/ghn_utility.h"
#include "platform.h"
#include "store/device_store.h"

namespace zephran::discovery {

namespace {

bool contains(const std::vector<common::MacAddress>& list, const common::MacAddress& address) {
    return std::find(list.begin(), list.end(), address) != list.end();
}

/// A list with an empty item counts as empty.
std::vector<common::MacAddress> parse_list(const std::string& text) {
    std::vector<std::string> pieces;
    const auto is_separator = [](char character) { return character == ','; };
    boost::split(pieces, text, is_separator, boost::token_compress_on);
    if (std::find(pieces.begin(), pieces.end(), std::string{}) != pieces.end()) {
        return {};
    }
    std::vector<common::MacAddress> addresses;
    std::transform(pieces.begin(), pieces.end(), std::back_inserter(addresses),
                   common::MacAddress::parse);
    return addresses;
}

}  // namespace

void GhnDiscoveryHandler::discover_once() {
    if (!enabled) {
        return;
    }
    const Access access = configured_access();
    if (access.interface.empty() || access.password.empty() || !access.controller.is_valid()) {
        enabled = false;
        ZLOG_WARNING("message", "Invalid G.hn configuration, disabling discovery");
        return;
    }
    ZLOG_INFO("action", "discover_once", "message", "starting discovery");
    const Addresses present = present_devices(access);
    look_for_new_devices(access, present);
    look_for_lost_devices(access, present);
}

GhnDiscoveryHandler::Access GhnDiscoveryHandler::configured_access() {
    const ghn::GhnConfig config = DeviceStore{*platform::get_config()}.ghn_config();
    return {config.get_interface(), config.get_password(), config.get_controller_mac()};
}

ghn::ConfigLayerCommand GhnDiscoveryHandler::command_for(const Access& access,
                                                         const common::MacAddress& device) {
    ghn::ConfigLayerCommand command;
    command.interface(access.interface).password(access.password).mac_address(device);
    return command;
}

GhnDiscoveryHandler::Addresses GhnDiscoveryHandler::present_devices(const Access& access) {
    return parse_list(ghn::GhnUtility::get_parameter_value(command_for(access, access.controller),
                                                           "DIDMNG.GENERAL.MACS"));
}

void GhnDiscoveryHandler::look_for_new_devices(const Access& access, const Addresses& present) {
    for (const common::MacAddress& mac : present) {
        if (!mac.is_valid() || mac == access.controller || contains(known_devices, mac)) {
            continue;
        }
        if (!has_room()) {
            ZLOG_WARNING_AS("discover_once", "event", "ghn_too_many_devices", "limit", most_agents);
            return;
        }
        leave_out_if_it_fails(mac, [&] { look_at_new_device(mac, command_for(access, mac)); });
    }
}

void GhnDiscoveryHandler::look_at_new_device(const common::MacAddress& mac,
                                             const ghn::ConfigLayerCommand& command) {
    if (get_device_type(command) == DeviceType::end_device) {
        ZLOG_INFO_AS("discover_once", "event", "ghn_device_found", "mac", mac);
        spawn_ghn_agent(mac, command);
        known_devices.push_back(mac);
    } else {
        ZLOG_INFO_AS("discover_once", "event", "ghn_ignoring_device", "mac", mac);
    }
}

// Anybody can plug in an adapter. Its answers are not logged: they may be long.
template <class Task>
void GhnDiscoveryHandler::leave_out_if_it_fails(const common::MacAddress& device, Task task) {
    try {
        task();
    } catch (const std::exception& error) {
        ZLOG_WARNING_AS("discover_once", "event", "ghn_leaving_out_device", "mac", device, "what",
                        error.what());
    }
}

// Devices found in this very pass are classified again here.
void GhnDiscoveryHandler::look_for_lost_devices(const Access& access, const Addresses& present) {
    Addresses kept;
    for (const common::MacAddress& mac : known_devices) {
        // One that answers nonsense is neither classified nor lost.
        bool is_present = contains(present, mac);
        if (is_present) {
            leave_out_if_it_fails(mac, [&] {
                is_present = get_device_type(command_for(access, mac)) == DeviceType::end_device;
            });
        }
        if (is_present) {
            kept.push_back(mac);
            continue;
        }
        ZLOG_WARNING_AS("discover_once", "event", "ghn_lost", "mac", mac);
        // An agent that was spawned under a serial number does not have this id and stays.
        abort_agent(mac.str());
    }
    known_devices = kept;
}

void GhnDiscoveryHandler::spawn_ghn_agent(const common::MacAddress& mac,
                                          const ghn::ConfigLayerCommand& command) {
    const auto value_of = [&command](const char* parameter) {
        return ghn::GhnUtility::get_parameter_value(command, parameter);
    };
    // Attributes leave the gateway, and what a tool prints may repeat its own command line.
    const auto attribute_of = [&](const char* parameter) {
        return command.without_password(value_of(parameter));
    };
    hawkbit::Attributes properties;
    properties["device_type"] = "ghn";
    properties["product_class"] = attribute_of("SYSTEM.PRODUCTION.PRODUCT_CLASS");
    properties["device_name"] = attribute_of("SYSTEM.PRODUCTION.DEVICE_NAME");
    properties["hw_revision"] = attribute_of("SYSTEM.PRODUCTION.HW_REVISION");
    properties["hw_product"] = attribute_of("SYSTEM.PRODUCTION.HW_PRODUCT");
    properties["firmware_version"] = attribute_of("SYSTEM.GENERAL.FW_VERSION");
    std::string id = value_of("SYSTEM.PRODUCTION.SERIAL_NUMBER");
    if (id.empty() || boost::starts_with(id, "ERROR")) {
        id = mac.str();
    }

    InstallerContext context;
    context.accepted_parts = {"plc_ghn"};
    context.mac_address = mac;
    spawn_agent(id, properties, context);
}

}  // namespace zephran::discovery
