// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "common/mac_address.h"
#include "discovery/async_discovery_handler.h"
#include "ghn/config_layer_command.h"

namespace zephran::discovery {

/// Finds the adapters on the G.hn powerline network behind the gateway. Each becomes a target of
/// its own that only accepts firmware of the part type "plc_ghn".
class GhnDiscoveryHandler : public AsyncDiscoveryHandler {
public:
    using AsyncDiscoveryHandler::AsyncDiscoveryHandler;
    GhnDiscoveryHandler(const GhnDiscoveryHandler&) = delete;
    GhnDiscoveryHandler& operator=(const GhnDiscoveryHandler&) = delete;
    /// Waits for a running pass, including the tool that it has started.
    ~GhnDiscoveryHandler() override { discard_pass(); }

    /// Reads the list of devices from the gateway's modem, requests an agent for each new device,
    /// and aborts the agents of lost ones. A device that answers nonsense is left out. If the
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
    [[nodiscard]] static ghn::ConfigLayerCommand command_for(const Access& access,
                                                             const common::MacAddress& device);
    [[nodiscard]] static Addresses present_devices(const Access& access);
    template <class Task>
    static void leave_out_if_it_fails(const common::MacAddress& device, Task task);
    void look_for_new_devices(const Access& access, const Addresses& present);
    void look_for_lost_devices(const Access& access, const Addresses& present);
    void look_at_new_device(const common::MacAddress& mac, const ghn::ConfigLayerCommand& command);
    void spawn_ghn_agent(const common::MacAddress& mac, const ghn::ConfigLayerCommand& command);

    bool enabled = true;
    /// Devices that have been found and not lost since.
    Addresses known_devices;
};

}  // namespace zephran::discovery
