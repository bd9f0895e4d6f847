// SPDX-License-Identifier: Apache-2.0
#include "discovery/ghn_discovery_handler.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <boost/algorithm/string/split.hpp>

#include "common/logprint.h"
#include "discovery/ghn_adapter.h"
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

GhnDiscoveryHandler::GhnDiscoveryHandler(std::chrono::milliseconds period_between_passes,
                                         std::string gateway_id,
                                         const DiscoveryOptions& discovery_options,
                                         Clock current_time)
    : AsyncDiscoveryHandler{period_between_passes, std::move(current_time),
                            discovery_options.failure_is_fatal},
      options{discovery_options} {
    if (options.ids == AdapterIds::prefixed) {
        id_prefix = std::move(gateway_id) + "-";
    }
}

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
    const Addresses present = present_modems(access);
    forget_left_out_unless(present);
    look_for_new_adapters(access, present);
    look_for_lost_adapters(access, present);
}

GhnDiscoveryHandler::Access GhnDiscoveryHandler::configured_access() {
    const ghn::GhnConfig config = DeviceStore{*platform::get_config()}.ghn_config();
    return {config.get_interface(), config.get_password(), config.get_controller_mac()};
}

ghn::ConfigLayerCommand GhnDiscoveryHandler::command_for(const Access& access,
                                                         const common::MacAddress& modem) const {
    ghn::ConfigLayerCommand command{options.quoting};
    command.interface(access.interface).password(access.password).mac_address(modem);
    return command;
}

GhnDiscoveryHandler::Addresses GhnDiscoveryHandler::present_modems(const Access& access) const {
    return parse_list(ghn::GhnUtility::get_parameter_value(command_for(access, access.controller),
                                                           "DIDMNG.GENERAL.MACS", stop_request(),
                                                           options.tool_limit));
}

bool GhnDiscoveryHandler::is_adapter(const ghn::ConfigLayerCommand& command) const {
    return get_device_type(command, stop_request(), options.tool_limit) == DeviceType::end_device;
}

void GhnDiscoveryHandler::look_for_new_adapters(const Access& access, const Addresses& present) {
    for (const common::MacAddress& mac : present) {
        if (!mac.is_valid() || mac == access.controller || contains(known_devices, mac)) {
            continue;
        }
        if (!has_room()) {
            warn_of_too_many();
            return;
        }
        leave_out_if_it_fails(mac, [&] { look_at_new_modem(mac, command_for(access, mac)); });
    }
    has_too_many = false;
}

void GhnDiscoveryHandler::warn_of_too_many() {
    if (!has_too_many) {
        ZLOG_WARNING_AS("discover_once", "event", "ghn_too_many_devices", "limit", most_agents);
    }
    has_too_many = true;
}

void GhnDiscoveryHandler::look_at_new_modem(const common::MacAddress& mac,
                                            const ghn::ConfigLayerCommand& command) {
    if (is_adapter(command)) {
        ZLOG_INFO_AS("discover_once", "event", "ghn_device_found", "mac", mac);
        spawn_ghn_agent(mac, command);
        known_devices.push_back(mac);
    } else {
        ZLOG_INFO_AS("discover_once", "event", "ghn_ignoring_device", "mac", mac);
    }
}

// Anybody can plug in an adapter. Its answers are not logged: they may be long.
template <class Task>
void GhnDiscoveryHandler::leave_out_if_it_fails(const common::MacAddress& modem, Task task) {
    try {
        task();
        left_out.erase(modem.str());
    } catch (const std::exception& error) {
        if (stop_request()) {
            throw;
        }
        const auto [entry, is_new] = left_out.try_emplace(modem.str(), error.what());
        if (is_new || entry->second != error.what()) {
            entry->second = error.what();
            ZLOG_WARNING_AS("discover_once", "event", "ghn_leaving_out_device", "mac", modem,
                            "what", error.what());
        }
    }
}

// Strangers come and go: what is remembered of them must not grow for ever.
void GhnDiscoveryHandler::forget_left_out_unless(const Addresses& present) {
    std::map<std::string, std::string> kept;
    for (const common::MacAddress& mac : present) {
        kept.insert(left_out.extract(mac.str()));
    }
    left_out = std::move(kept);
}

// Adapters found in this very pass are classified again here.
void GhnDiscoveryHandler::look_for_lost_adapters(const Access& access, const Addresses& present) {
    Addresses kept;
    for (const common::MacAddress& mac : known_devices) {
        // One that answers nonsense is neither classified nor lost.
        bool is_present = contains(present, mac);
        if (is_present) {
            leave_out_if_it_fails(mac, [&] { is_present = is_adapter(command_for(access, mac)); });
        }
        if (is_present) {
            kept.push_back(mac);
            continue;
        }
        ZLOG_WARNING_AS("discover_once", "event", "ghn_lost", "mac", mac);
        // An agent that was spawned under a serial number does not have this id and stays.
        abort_agent(id_prefix + mac.str());
    }
    known_devices = kept;
}

void GhnDiscoveryHandler::spawn_ghn_agent(const common::MacAddress& mac,
                                          const ghn::ConfigLayerCommand& command) {
    const GhnAdapter adapter = ask_adapter(mac, command, stop_request(), options.tool_limit);
    spawn_agent(id_prefix + adapter.id, adapter.properties, adapter.context);
}

}  // namespace zephran::discovery
