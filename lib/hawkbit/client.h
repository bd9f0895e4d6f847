#pragma once

#include <optional>

#include "hawkbit/controller.h"
#include "hawkbit/messages/cancel_action.h"
#include "hawkbit/messages/controller_status.h"
#include "hawkbit/messages/deployment_action.h"
#include "hawkbit/messages/feedback.h"
#include "http/httpclient.h"

namespace zephran::hawkbit {

/// The six exchanges of the DDI. Failures are those of the HTTP client, the JSON helpers and the
/// messages; nothing is retried.
class ClientInterface {
public:
    ClientInterface() = default;
    ClientInterface(const ClientInterface&) = delete;
    ClientInterface& operator=(const ClientInterface&) = delete;
    virtual ~ClientInterface() = default;

    /// Every later exchange presents this certificate.
    virtual void set_client_certificate(const http::ClientCertificate& certificate) = 0;

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
};

/// The exchanges over HTTP.
class Client : public ClientInterface {
public:
    void set_client_certificate(const http::ClientCertificate& certificate) override;
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

private:
    std::optional<http::ClientCertificate> client_certificate;
};

}  // namespace zephran::hawkbit
