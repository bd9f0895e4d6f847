// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include <json/json.h>

#include "agent_manager.h"
#include "ubus/ubus_object.h"

namespace zephran::platform::openwrt {

class StatusNotifier;

/// The agent manager of a gateway: it offers the object "zephran" on the message bus, through which
/// local software lists the agents, forces polls, and accepts the deployment that waits for the
/// user's consent.
///
/// The handlers run on the receiver thread of the object. They access the agents only through their
/// controls. Neither they nor the main loop ever wait for each other.
class UbusAgentManager : public AgentManager {
public:
    UbusAgentManager();
    /// For tests: another broker, and another pause between two iterations of the main loop.
    UbusAgentManager(ubus::UbusContext::Environment environment, std::function<void()> loop_pause);
    ~UbusAgentManager() override = default;

    /// @name Methods of the object
    /// Each answers with one JSON object and returns 0; "success" tells the outcome.
    /// @{

    /// "agent_id" (string) names the agent that is to poll; without it all do.
    int handle_force_poll(ubus::UbusObject* called, ubus_request_data* request, blob_attr* message);
    int handle_get_deployment(ubus::UbusObject* called, ubus_request_data* request,
                              blob_attr* message);
    /// Where the bus is extended, "action_id" (string) says which deployment the user has seen:
    /// another one is not accepted.
    int handle_accept_deployment(ubus::UbusObject* called, ubus_request_data* request,
                                 blob_attr* message);
    int handle_get_agents(ubus::UbusObject* called, ubus_request_data* request, blob_attr* message);
    /// "hours" (number, 1 to 168): the pending deployment does not start before, unless the server
    /// forces it or the user accepts it.
    int handle_postpone_deployment(ubus::UbusObject* called, ubus_request_data* request,
                                   blob_attr* message);
    /// What the gateway's agent is doing.
    int handle_get_status(ubus::UbusObject* called, ubus_request_data* request, blob_attr* message);
    /// @}

protected:
    /// Registers the object and starts to serve it.
    /// @throws ubus::UbusConnectException when there is no broker
    /// @throws ubus::ObjectAddException when another process has the name
    void run_setup() override;
    void run_teardown() override { object.reset(); }

private:
    UbusAgentManager(ubus::UbusContext::Environment environment, std::function<void()> loop_pause,
                     const std::shared_ptr<StatusNotifier>& notifier);

    [[nodiscard]] std::shared_ptr<AgentControl> gateway_control() const;
    [[nodiscard]] bool force_polls(const Json::Value& arguments) const;
    [[nodiscard]] Json::Value postpone(const Json::Value& arguments) const;
    [[nodiscard]] Json::Value accept(const Json::Value& arguments) const;

    ubus::UbusContext::Environment bus;
    std::shared_ptr<ubus::NotificationQueue> notifications;
    // The last member: its receiver must be gone before anything that the handlers use.
    std::unique_ptr<ubus::UbusObject> object;
};

}  // namespace zephran::platform::openwrt
