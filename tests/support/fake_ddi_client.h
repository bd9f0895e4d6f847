// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "hawkbit/client.h"
#include "support/message_builder.h"

namespace zephran::test {

/// The exchanges of the protocol, for saying which of them is to fail.
enum class Exchange {
    fetch_status,
    fetch_deployment,
    fetch_cancel,
    send_deployment_feedback,
    send_cancel_feedback,
    send_config_data
};

/// A deployment feedback and where it was sent.
struct DeploymentFeedback {
    std::string address;
    hawkbit::DeploymentActionFeedbackMessage message;
};

/// A cancel feedback and where it was sent.
struct CancelFeedback {
    std::string address;
    hawkbit::CancelActionFeedbackMessage message;
};

/// What the server holds for one target, and what it was told.
class UpdateServer {
public:
    /// Which links the controller resource carries; an empty path stands for no link.
    struct Links {
        std::string deployment;
        std::string cancel;
        bool config_data = false;
    };

    /// Opens a deployment action at its usual address.
    void offer(const DeploymentText& text);
    /// Opens the cancellation of an action at its usual address.
    void offer_cancel(const std::string& action_id);
    void close_cancel() { links.cancel.clear(); }
    void close_deployment() { links.deployment.clear(); }
    [[nodiscard]] static std::string deployment_address(const std::string& action_id);

    /// The next so many exchanges of a kind end in status 500.
    void fail(Exchange exchange, unsigned times) { failures[exchange] = times; }

    /// Answers the next reports that are sent as documents with these statuses, 0 for no answer.
    void answer_reports(std::initializer_list<unsigned> statuses) {
        report_answers.assign(statuses);
    }

    /// A client of this server, which must outlive it.
    [[nodiscard]] std::unique_ptr<hawkbit::ClientInterface> make_client();

    Links links;
    /// As the controller resource tells it.
    std::string sleep = "00:05:00";
    hawkbit::DeploymentActionMessage deployment;
    std::string cancel_id;

    /// What was exchanged, in order and in words: "status", "config data", "fetch deployment",
    /// "fetch cancel", "deployment 7 proceeding none 0/2: detail | detail",
    /// "cancel 7 closed success: detail".
    std::vector<std::string> exchanges;
    std::vector<DeploymentFeedback> deployment_feedbacks;
    std::vector<CancelFeedback> cancel_feedbacks;
    std::vector<hawkbit::ConfigDataFeedbackMessage> config_data;
    /// Reports that were sent as documents, with where they were sent, the refused ones included.
    std::vector<std::pair<std::string, Json::Value>> reports;
    /// Where the last status was asked for.
    std::string status_address;

private:
    friend class FakeDdiClient;
    void fail_if_asked(Exchange exchange);

    std::map<Exchange, unsigned> failures;
    std::deque<unsigned> report_answers;
};

/// Talks to an UpdateServer in memory.
class FakeDdiClient : public hawkbit::ClientInterface {
public:
    explicit FakeDdiClient(UpdateServer& update_server) : server{update_server} {}

    [[nodiscard]] hawkbit::ControllerStatusMessage fetch_controller_status(
        const hawkbit::Controller& controller) const override;
    [[nodiscard]] hawkbit::DeploymentActionMessage fetch_deployment_action(
        const hawkbit::Controller& controller) const override;
    [[nodiscard]] hawkbit::CancelActionMessage fetch_cancel_action(
        const hawkbit::Controller& controller) const override;
    void send_deployment_action_feedback(
        const hawkbit::Controller& controller,
        const hawkbit::DeploymentActionFeedbackMessage& message) const override;
    void send_cancel_action_feedback(
        const hawkbit::Controller& controller,
        const hawkbit::CancelActionFeedbackMessage& message) const override;
    void send_config_data(const hawkbit::Controller& controller,
                          const hawkbit::ConfigDataFeedbackMessage& message) const override;
    void send_feedback(const common::URI& address, const Json::Value& document) const override;

private:
    UpdateServer& server;
};

}  // namespace zephran::test
