// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/client.h"

#include "http/json.h"

namespace zephran::hawkbit {
namespace {

// Enough to find the newest report of an interrupted deployment.
constexpr const char* history_query = "actionHistory=10";

template <class Message, class... Choice>
Message fetch(const http::TransportSettings& settings, const common::URI& uri, Choice... choice) {
    Message message;
    message.from_json(http::JSONGETRequester{settings}(uri), choice...);
    return message;
}

template <class Requester>
void send(const http::TransportSettings& settings, const common::URI& uri,
          const common::JSONSerializable& message) {
    Requester{settings}(uri, message.to_json());
}

}  // namespace

ControllerStatusMessage Client::fetch_controller_status(const Controller& controller) const {
    return fetch<ControllerStatusMessage>(settings, controller.base());
}

DeploymentActionMessage Client::fetch_deployment_action(const Controller& controller) const {
    return fetch<DeploymentActionMessage>(
        settings, controller.deployment_base().with_query(history_query), digest);
}

CancelActionMessage Client::fetch_cancel_action(const Controller& controller) const {
    return fetch<CancelActionMessage>(settings, controller.cancel_action());
}

void Client::send_deployment_action_feedback(const Controller& controller,
                                             const DeploymentActionFeedbackMessage& message) const {
    send<http::JSONPOSTRequester>(settings, controller.deployment_feedback(), message);
}

void Client::send_cancel_action_feedback(const Controller& controller,
                                         const CancelActionFeedbackMessage& message) const {
    send<http::JSONPOSTRequester>(settings, controller.cancel_feedback(), message);
}

void Client::send_config_data(const Controller& controller,
                              const ConfigDataFeedbackMessage& message) const {
    send<http::JSONPUTRequester>(settings, controller.config_data(), message);
}

void Client::send_feedback(const common::URI& address, const Json::Value& document) const {
    http::JSONPOSTRequester{settings}(address, document);
}

}  // namespace zephran::hawkbit
