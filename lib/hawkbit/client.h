// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

#include "hawkbit/controller.h"
#include "hawkbit/messages/cancel_action.h"
#include "hawkbit/messages/controller_status.h"
#include "hawkbit/messages/deployment_action.h"
#include "hawkbit/messages/feedback.h"
#include "http/transport_settings.h"

namespace zephran::hawkbit {

/// The exchanges of the DDI. They throw what the HTTP client, the JSON helpers and the messages
/// throw, and retry nothing.
class ClientInterface {
public:
    ClientInterface() = default;
    ClientInterface(const ClientInterface&) = delete;
    ClientInterface& operator=(const ClientInterface&) = delete;
    virtual ~ClientInterface() = default;

    [[nodiscard]] virtual ControllerStatusMessage fetch_controller_status(
        const Controller& controller) const = 0;
    /// Asks for the ten newest messages of the action's history.
    [[nodiscard]] virtual DeploymentActionMessage fetch_deployment_action(
        const Controller& controller) const = 0;
    [[nodiscard]] virtual CancelActionMessage fetch_cancel_action(
        const Controller& controller) const = 0;
    virtual void send_deployment_action_feedback(
        const Controller& controller, const DeploymentActionFeedbackMessage& message) const = 0;
    virtual void send_cancel_action_feedback(const Controller& controller,
                                             const CancelActionFeedbackMessage& message) const = 0;
    virtual void send_config_data(const Controller& controller,
                                  const ConfigDataFeedbackMessage& message) const = 0;
    /// Sends a feedback on a deployment or a cancel action that was composed earlier.
    virtual void send_feedback(const common::URI& address, const Json::Value& document) const = 0;
};

/// The exchanges over HTTP.
class Client : public ClientInterface {
public:
    /// @param preferred_digest sums that deployments have to state
    explicit Client(http::TransportSettings transport_settings,
                    Digest preferred_digest = Digest::md5)
        : settings{std::move(transport_settings)}, digest{preferred_digest} {}

    [[nodiscard]] ControllerStatusMessage fetch_controller_status(
        const Controller& controller) const override;
    [[nodiscard]] DeploymentActionMessage fetch_deployment_action(
        const Controller& controller) const override;
    [[nodiscard]] CancelActionMessage fetch_cancel_action(
        const Controller& controller) const override;
    void send_deployment_action_feedback(
        const Controller& controller,
        const DeploymentActionFeedbackMessage& message) const override;
    void send_cancel_action_feedback(const Controller& controller,
                                     const CancelActionFeedbackMessage& message) const override;
    void send_config_data(const Controller& controller,
                          const ConfigDataFeedbackMessage& message) const override;
    void send_feedback(const common::URI& address, const Json::Value& document) const override;

private:
    http::TransportSettings settings;
    Digest digest;
};

}  // namespace zephran::hawkbit
