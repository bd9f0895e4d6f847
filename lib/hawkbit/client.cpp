#include "hawkbit/client.h"

#include "http/json.h"

namespace zephran::hawkbit {
namespace {

// Enough to find the newest report of an interrupted deployment.
constexpr const char* history_query = "actionHistory=10";

using Certificate = std::optional<http::ClientCertificate>;

template <class Message>
Message fetch(const Certificate& certificate, const common::URI& uri) {
    const http::JSONGETRequester get;
    Message message;
    message.from_json(certificate ? get(*certificate, uri) : get(uri));
    return message;
}

template <class Requester>
void send(const Certificate& certificate, const common::URI& uri,
          const common::JSONSerializable& message) {
    const Requester request;
    if (certificate) {
        request(*certificate, uri, message.to_json());
    } else {
        request(uri, message.to_json());
    }
}

}  // namespace

void Client::set_client_certificate(const http::ClientCertificate& certificate) {
    client_certificate = certificate;
}

ControllerStatusMessage Client::fetch_controller_status(const Controller& controller) const {
    return fetch<ControllerStatusMessage>(client_certificate, controller.base());
}

DeploymentActionMessage Client::fetch_deployment_action(const Controller& controller) const {
    return fetch<DeploymentActionMessage>(client_certificate,
                                          controller.deployment_base().with_query(history_query));
}

CancelActionMessage Client::fetch_cancel_action(const Controller& controller) const {
    return fetch<CancelActionMessage>(client_certificate, controller.cancel_action());
}

void Client::send_deployment_action_feedback(const Controller& controller,
                                             const DeploymentActionFeedbackMessage& message) const {
    send<http::JSONPOSTRequester>(client_certificate, controller.deployment_feedback(), message);
}

void Client::send_cancel_action_feedback(const Controller& controller,
                                         const CancelActionFeedbackMessage& message) const {
    send<http::JSONPOSTRequester>(client_certificate, controller.cancel_feedback(), message);
}

void Client::send_config_data(const Controller& controller,
                              const ConfigDataFeedbackMessage& message) const {
    send<http::JSONPUTRequester>(client_certificate, controller.config_data(), message);
}

}  // namespace zephran::hawkbit
