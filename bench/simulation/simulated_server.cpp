// SPDX-License-Identifier: Apache-2.0
#include "simulated_server.h"

#include <algorithm>
#include <string>

#include "common/json.h"
#include "http/exceptions.h"

namespace zephran::simulation {
namespace {

constexpr const char* links = "https://update.example/DEFAULT/controller/v1/gateway/";

hawkbit::ControllerStatusMessage status_message(bool with_deployment) {
    Json::Value document;
    document["config"]["polling"]["sleep"] = "00:05:00";
    document["_links"] = Json::Value{Json::objectValue};
    if (with_deployment) {
        document["_links"]["deploymentBase"]["href"] = std::string{links} + "deploymentBase/1";
    }
    hawkbit::ControllerStatusMessage message;
    message.from_json(document);
    return message;
}

// One of no parts: what it takes to install them is another matter.
hawkbit::DeploymentActionMessage deployment_message() {
    Json::Value document;
    document["id"] = "1";
    document["deployment"]["download"] = "attempt";
    document["deployment"]["update"] = "attempt";
    document["deployment"]["chunks"] = Json::Value{Json::arrayValue};
    hawkbit::DeploymentActionMessage message;
    message.from_json(document);
    return message;
}

class CountingClient : public hawkbit::ClientInterface {
public:
    CountingClient(SimulatedServer& fleet_server, Target& gateway)
        : server{fleet_server}, target{gateway} {}

    [[nodiscard]] hawkbit::ControllerStatusMessage fetch_controller_status(
        const hawkbit::Controller& /*controller*/) const override {
        static const auto idle = status_message(false);
        static const auto busy = status_message(true);
        server.serve();
        note_first_poll();
        return !target.is_closed && time() >= server.offered_from ? busy : idle;
    }
    [[nodiscard]] hawkbit::DeploymentActionMessage fetch_deployment_action(
        const hawkbit::Controller& /*controller*/) const override {
        static const auto deployment = deployment_message();
        server.serve();
        return deployment;
    }
    [[nodiscard]] hawkbit::CancelActionMessage fetch_cancel_action(
        const hawkbit::Controller& /*controller*/) const override {
        server.serve();
        return {};
    }
    void send_deployment_action_feedback(
        const hawkbit::Controller& /*controller*/,
        const hawkbit::DeploymentActionFeedbackMessage& message) const override {
        server.serve();
        if (message.execution == hawkbit::ActionFeedbackMessage::ExecutionStatus::closed) {
            target.is_closed = true;
            ++server.closed_actions;
        }
    }
    void send_cancel_action_feedback(
        const hawkbit::Controller& /*controller*/,
        const hawkbit::CancelActionFeedbackMessage& /*message*/) const override {
        server.serve();
    }
    void send_config_data(const hawkbit::Controller& /*controller*/,
                          const hawkbit::ConfigDataFeedbackMessage& /*message*/) const override {
        server.serve();
    }
    void send_feedback(const common::URI& /*address*/,
                       const Json::Value& /*document*/) const override {
        server.serve();
    }

private:
    void note_first_poll() const {
        const Milliseconds from = server.outage ? server.outage->end : server.start;
        if (!target.was_served && time() >= from) {
            target.was_served = true;
            ++server.served_gateways;
            server.last_first_poll = std::max(server.last_first_poll, time() - from);
        }
    }

    SimulatedServer& server;
    Target& target;
};

}  // namespace

std::unique_ptr<hawkbit::ClientInterface> SimulatedServer::make_client(Target& target) {
    return std::make_unique<CountingClient>(*this, target);
}

void SimulatedServer::serve() {
    const Milliseconds now = time();
    const std::uint32_t in_this_second = traffic.count(now - start);
    if (outage && now >= outage->begin && now < outage->end) {
        ++failed;
        set_time(std::min(now + outage->notice, std::max(outage->end, now)));
        ZEPHRAN_THROW(http::HttpRequestException{});
    }
    if (in_this_second > limit) {
        ++failed;
        ZEPHRAN_THROW(http::HttpErrorCodeException{} << http::httpcode_tag{503U});
    }
}

}  // namespace zephran::simulation
