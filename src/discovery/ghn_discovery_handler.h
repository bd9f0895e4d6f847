// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/mac_address.h"
#include "discovery/async_discovery_handler.h"
#include "ghn/config_layer_command.h"
#include "options/service_options.h"

namespace zephran::discovery {

/// Finds the adapters on the G.hn powerline network behind the gateway. Each becomes a target of
/// its own that only accepts firmware of the part type "plc_ghn".
class GhnDiscoveryHandler : public AsyncDiscoveryHandler {
public:
    /// @param gateway_id           begins the ids of adapters if they are to have it
    /// @param period_between_passes, current_time see AsyncDiscoveryHandler
    GhnDiscoveryHandler(std::chrono::milliseconds period_between_passes, std::string gateway_id,
                        const DiscoveryOptions& discovery_options,
                        Clock current_time = std::chrono::steady_clock::now);
    explicit GhnDiscoveryHandler(std::chrono::milliseconds period_between_passes,
                                 Clock current_time = std::chrono::steady_clock::now)
        : GhnDiscoveryHandler{period_between_passes, {}, {}, std::move(current_time)} {}
    GhnDiscoveryHandler(const GhnDiscoveryHandler&) = delete;
    GhnDiscoveryHandler& operator=(const GhnDiscoveryHandler&) = delete;
    /// Ends a running pass, together with the tool that it has started.
    ~GhnDiscoveryHandler() override { discard_pass(); }

    /// Reads the list of modems from the gateway's own one, requests an agent for each new adapter,
    /// and aborts the agents of lost ones. An adapter that answers nonsense is left out. If the
    /// configuration is incomplete, it logs one warning and discovery is off until the next start.
    ///
    /// @throws what ghn::GhnUtility::get_parameter_value() throws when the list cannot be read
    /// @throws std::invalid_argument "mac" when the list contains anything but addresses
    void discover_once() override;

private:
    using Addresses = std::vector<common::MacAddress>;

    struct Access {
        std::string interface;
        std::string password;
        common::MacAddress controller;
    };

    [[nodiscard]] static Access configured_access();
    [[nodiscard]] ghn::ConfigLayerCommand command_for(const Access& access,
                                                      const common::MacAddress& modem) const;
    [[nodiscard]] Addresses present_modems(const Access& access) const;
    [[nodiscard]] bool is_adapter(const ghn::ConfigLayerCommand& command) const;
    template <class Task>
    void leave_out_if_it_fails(const common::MacAddress& modem, Task task);
    void forget_left_out_unless(const Addresses& present);
    void look_for_new_adapters(const Access& access, const Addresses& present);
    void look_for_lost_adapters(const Access& access, const Addresses& present);
    void look_at_new_modem(const common::MacAddress& mac, const ghn::ConfigLayerCommand& command);
    void warn_of_too_many();
    void spawn_ghn_agent(const common::MacAddress& mac, const ghn::ConfigLayerCommand& command);

    bool enabled = true;
    /// What the id of each adapter's agent begins with.
    std::string id_prefix;
    DiscoveryOptions options;
    /// Adapters that have been found and not lost since.
    Addresses known_devices;
    /// Why modems were left out when they were asked the last time, by address. Each reason is
    /// logged once, not in every pass.
    std::map<std::string, std::string> left_out;
    /// Whether the last pass has found more adapters than may have agents.
    bool has_too_many = false;
};

}  // namespace zephran::discovery
