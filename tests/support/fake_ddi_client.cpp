// SPDX-License-Identifier: Apache-2.0
#include "support/fake_ddi_client.h"

#include "http/exceptions.h"

namespace zephran::test {

namespace {

using Feedback = hawkbit::ActionFeedbackMessage;

constexpr unsigned success = 200;
constexpr unsigned internal_server_error = 500;
constexpr const char* controller_address = "https://update.example/DEFAULT/controller/v1/gateway";

std::string join(const std::vector<std::string>& details) {
    std::string joined;
    for (const std::string& detail : details) {
        joined += (joined.empty() ? ": " : " | ") + detail;
    }
    return joined;
}

/// "deployment 7 proceeding none 0/2: detail | detail"
std::string in_words(const Json::Value& document) {
    const Json::Value& status = document["status"];
    const Json::Value& progress = status["result"]["progress"];
    std::vector<std::string> details;
    for (const Json::Value& detail : status["details"]) {
        details.push_back(detail.asString());
    }
    const std::string head = document["id"].asString() + " " + status["execution"].asString() +
                             " " + status["result"]["finished"].asString();
    if (progress.isNull()) {
        return "cancel " + head + join(details);
    }
    return "deployment " + head + " " + progress["count"].asString() + "/" +
           progress["of"].asString() + join(details);
}

}  // namespace

std::string UpdateServer::deployment_address(const std::string& action_id) {
    return std::string{controller_address} + "/deploymentBase/" + action_id;
}

void UpdateServer::offer(const DeploymentText& text) {
    deployment = deployment_from(text);
    links.deployment = deployment_address(text.id) + "?c=-2129030598";
}

void UpdateServer::offer_cancel(const std::string& action_id) {
    cancel_id = action_id;
    links.cancel = std::string{controller_address} + "/cancelAction/" + action_id;
}

std::unique_ptr<hawkbit::ClientInterface> UpdateServer::make_client() {
    return std::make_unique<FakeDdiClient>(*this);
}

void UpdateServer::fail_if_asked(Exchange exchange) {
    unsigned& remaining = failures[exchange];
    if (remaining != 0) {
        --remaining;
        exchanges.emplace_back("failure");
        ZEPHRAN_THROW(http::HttpErrorCodeException{} << http::httpcode_tag{internal_server_error});
    }
}

hawkbit::ControllerStatusMessage FakeDdiClient::fetch_controller_status(
    const hawkbit::Controller& controller) const {
    server.status_address = controller.base().str();
    server.fail_if_asked(Exchange::fetch_status);
    server.exchanges.emplace_back("status");
    Json::Value document;
    document["config"]["polling"]["sleep"] = server.sleep;
    if (!server.links.deployment.empty()) {
        document["_links"]["deploymentBase"]["href"] = server.links.deployment;
    }
    if (!server.links.cancel.empty()) {
        document["_links"]["cancelAction"]["href"] = server.links.cancel;
    }
    if (server.links.config_data) {
        document["_links"]["configData"]["href"] = std::string{controller_address} + "/configData";
    }
    hawkbit::ControllerStatusMessage status;
    status.from_json(document);
    return status;
}

hawkbit::DeploymentActionMessage FakeDdiClient::fetch_deployment_action(
    const hawkbit::Controller& /*controller*/) const {
    server.fail_if_asked(Exchange::fetch_deployment);
    server.exchanges.emplace_back("fetch deployment");
    return server.deployment;
}

hawkbit::CancelActionMessage FakeDdiClient::fetch_cancel_action(
    const hawkbit::Controller& /*controller*/) const {
    server.fail_if_asked(Exchange::fetch_cancel);
    server.exchanges.emplace_back("fetch cancel");
    Json::Value document;
    document["id"] = server.cancel_id;
    document["cancelAction"]["stopId"] = server.cancel_id;
    hawkbit::CancelActionMessage action;
    action.from_json(document);
    return action;
}

void FakeDdiClient::send_deployment_action_feedback(
    const hawkbit::Controller& controller,
    const hawkbit::DeploymentActionFeedbackMessage& message) const {
    server.fail_if_asked(Exchange::send_deployment_feedback);
    server.deployment_feedbacks.push_back({controller.deployment_feedback().str(), message});
    server.exchanges.push_back(
        "deployment " + message.id + " " + Feedback::to_string(message.execution) + " " +
        Feedback::to_string(message.result) + " " + std::to_string(message.progress_count) + "/" +
        std::to_string(message.progress_of) + join(message.details));
}

void FakeDdiClient::send_cancel_action_feedback(
    const hawkbit::Controller& controller,
    const hawkbit::CancelActionFeedbackMessage& message) const {
    server.fail_if_asked(Exchange::send_cancel_feedback);
    server.cancel_feedbacks.push_back({controller.cancel_feedback().str(), message});
    server.exchanges.push_back("cancel " + message.id + " " +
                               Feedback::to_string(message.execution) + " " +
                               Feedback::to_string(message.result) + join(message.details));
}

void FakeDdiClient::send_config_data(const hawkbit::Controller& /*controller*/,
                                     const hawkbit::ConfigDataFeedbackMessage& message) const {
    server.fail_if_asked(Exchange::send_config_data);
    server.exchanges.emplace_back("config data");
    server.config_data.push_back(message);
}

void FakeDdiClient::send_feedback(const common::URI& address, const Json::Value& document) const {
    server.reports.emplace_back(address.str(), document);
    unsigned answer = success;
    if (!server.report_answers.empty()) {
        answer = server.report_answers.front();
        server.report_answers.pop_front();
    }
    if (answer == 0) {
        ZEPHRAN_THROW(http::HttpRequestException{} << http::curlcode_tag{CURLE_COULDNT_CONNECT});
    }
    if (answer != success) {
        ZEPHRAN_THROW(http::HttpErrorCodeException{} << http::httpcode_tag{answer});
    }
    server.exchanges.push_back(in_words(document));
}

}  // namespace zephran::test
