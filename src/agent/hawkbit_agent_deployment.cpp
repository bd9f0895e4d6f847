// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <boost/exception/diagnostic_information.hpp>

#include "agent/hawkbit_agent.h"
#include "common/exception.h"
#include "deployment/deployment_history.h"
#include "deployment/running_deployment.h"
#include "installer/installer_factory.h"
#include "platform.h"
#include "store/device_store.h"

namespace zephran {

namespace {

/// A cancellation that is refused leaves the action open.
bool ends_action(const DeploymentReport& report) {
    return report.execution == DeploymentReport::ExecutionStatus::closed &&
           (report.recipient == DeploymentReport::Recipient::deployment ||
            report.result == DeploymentReport::FinalResult::success);
}

}  // namespace

void HawkbitAgent::tick_deployment() {
    if (is_held_by_report()) {
        return;
    }
    const auto report = deployment->step();
    note_end_of_deployment();
    if (report) {
        deliver(*report);
        // While the action is still open at the server, the next process needs the record.
        if (ends_action(*report)) {
            forget_begin(deployment->deployer().action_id());
        }
    }
    if (deployment->has_failed_in_last_step() || deployment->has_ended()) {
        platform::recover_download();
    }
    if (deployment->has_ended() && unsent.empty()) {
        end_deployment();
    }
}

void HawkbitAgent::end_deployment() {
    if (deployment->deployer().is_finished() && deployment->deployer().is_resumed()) {
        force_poll();
    }
    forget_offer_of_ended_deployment();
    status_log.counters.bytes += deployment->deployer().received();
    deployment.reset();
}

void HawkbitAgent::forget_offer_of_ended_deployment() {
    // Reading a closed action again would turn its record on the server from finished to retrieved.
    if (deployment->was_fetched_from(controller.deployment_base())) {
        controller.forget_deployment();
        deployment_action_requested = false;
    }
}

void HawkbitAgent::forget_begin(const std::string& action_id) const {
    if (settings.options.installation.strict_resume) {
        DeviceStore{*platform::get_config()}.forget_begin(action_id, {"forget_begin"});
    }
}

void HawkbitAgent::start_deployer() {
    if (is_deploying()) {
        ZEPHRAN_THROW(DeploymentInProgressException{});
    }
    hawkbit::DeploymentActionMessage action = *control_->pending_deployment();
    action.replace_chunks(
        InstallerFactory::reorder_chunks(action.chunks(), settings.options.chunk_order));
    const bool is_interrupted = deployment_history::holds_own_report(action.action_history());

    deployment = std::make_unique<RunningDeployment>(
        std::make_unique<HawkbitDeployer>(settings.attributes, std::move(action), settings.context,
                                          make_http_client, settings.downloads),
        controller);
    ++status_log.counters.deployments;
    postponement.forget();
    if (is_interrupted) {
        resume_deployer();
    }
    control_->drop_pending_deployment();
}

void HawkbitAgent::resume_deployer() {
    try {
        deployment->deployer().resume();
    } catch (const std::exception& error) {
        ZLOG_ERROR("event", "exception_caught", "action", "resume_deployment", "what",
                   boost::diagnostic_information(error));
    }
}

void HawkbitAgent::cancel_deployer() {
    if (deployment == nullptr) {
        client->send_cancel_action_feedback(controller, cancel_feedback(nothing_to_cancel()));
        forget_begin(cancel_action_id);
    } else {
        cancel_existing_deployer();
    }
}

void HawkbitAgent::cancel_existing_deployer() {
    try {
        deployment->deployer().cancel();
    } catch (const std::exception& error) {
        ZLOG_ERROR("event", "exception_caught", "action", "cancel_existing_deployer", "what",
                   boost::diagnostic_information(error), "message",
                   "forcibly getting rid of deployer");
        deployment.reset();
        ZEPHRAN_THROW(std::exception{});
    }
}

}  // namespace zephran
