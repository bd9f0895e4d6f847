// SPDX-License-Identifier: Apache-2.0
#include "agent/hawkbit_agent.h"
#include "common/exception.h"
#include "deployment/running_deployment.h"
#include "hawkbit/detail_text.h"

namespace zephran {

namespace {

using Recipient = DeploymentReport::Recipient;

/// Marks the time in which a report is being sent.
class Reporting {
public:
    explicit Reporting(bool& mark) : mark_{mark} { mark_ = true; }
    ~Reporting() { mark_ = false; }
    Reporting(const Reporting&) = delete;
    Reporting& operator=(const Reporting&) = delete;

private:
    bool& mark_;
};

UnsentReport::Kind kind_of(const DeploymentReport& report) {
    if (report.starts_installation) {
        return UnsentReport::Kind::start;
    }
    return report.execution == DeploymentReport::ExecutionStatus::proceeding
               ? UnsentReport::Kind::step
               : UnsentReport::Kind::closing;
}

}  // namespace

void HawkbitAgent::deliver(const DeploymentReport& report) {
    const bool answers_cancel = report.recipient == Recipient::cancellation;
    const Reporting reporting{is_reporting};
    show_status();
    if (settings.reports.retries) {
        unsent.add(compose(report));
        send_unsent_reports();
    } else if (answers_cancel) {
        client->send_cancel_action_feedback(controller, cancel_feedback(report));
    } else {
        client->send_deployment_action_feedback(deployment->address(), deployment_feedback(report));
    }
}

void HawkbitAgent::send_unsent_reports() {
    unsent.send_due();
    if (unsent.take_obsolete()) {
        // The action may be open all the same, and nobody else asks a dormant agent to look.
        is_read_owed = true;
    }
    const auto fate = unsent.take_dropped_start();
    if (fate && is_deploying()) {
        give_up_installation(*fate);
    }
}

void HawkbitAgent::give_up_installation(ReportFate fate_of_its_report) {
    if (fate_of_its_report == ReportFate::obsolete) {
        deployment->withdraw();
    } else if (const auto report = deployment->give_up(ReportRefusedException{})) {
        deliver(*report);
    }
}

bool HawkbitAgent::is_held_by_report() const {
    if (unsent.empty()) {
        return false;
    }
    const bool is_ending = deployment->deployer().is_cancelling();
    return deployment->has_ended() || (unsent.holds_step() && !is_ending);
}

bool HawkbitAgent::must_report_first() {
    if (unsent.empty()) {
        return false;
    }
    if (control_->take_forced_poll()) {
        // A dormant agent still owes the poll once the report is taken.
        is_read_owed = true;
        unsent.hurry();
    }
    return true;
}

UnsentReport HawkbitAgent::compose(const DeploymentReport& report) const {
    if (report.recipient == Recipient::cancellation) {
        return {kind_of(report), controller.cancel_feedback(), cancel_feedback(report).to_json(),
                false};
    }
    return {kind_of(report), deployment->address().deployment_feedback(),
            deployment_feedback(report).to_json(), false};
}

hawkbit::DeploymentActionFeedbackMessage HawkbitAgent::deployment_feedback(
    const DeploymentReport& report) const {
    hawkbit::DeploymentActionFeedbackMessage message;
    message.id = deployment->deployer().action_id();
    message.execution = report.execution;
    message.result = report.result;
    message.progress_count = deployment->deployer().chunk_index();
    message.progress_of = deployment->deployer().chunk_count();
    message.details = hawkbit::clean_details(report.details);
    message.time = epoch_seconds();
    message.code = code_to_send(report);
    return message;
}

hawkbit::CancelActionFeedbackMessage HawkbitAgent::cancel_feedback(
    const DeploymentReport& report) const {
    hawkbit::CancelActionFeedbackMessage message;
    message.id = cancel_action_id;
    message.execution = report.execution;
    message.result = report.result;
    message.details = hawkbit::clean_details(report.details);
    message.time = epoch_seconds();
    message.code = code_to_send(report);
    return message;
}

std::optional<int> HawkbitAgent::code_to_send(const DeploymentReport& report) const {
    return settings.reports.codes ? report.code : std::nullopt;
}

}  // namespace zephran
