// SPDX-License-Identifier: Apache-2.0
#include "deployment/deployment_report.h"

#include "deployment/action_message.h"
#include "deployment/hawkbit_deployer.h"

namespace zephran {

namespace {

using Recipient = DeploymentReport::Recipient;
using ExecutionStatus = DeploymentReport::ExecutionStatus;
using FinalResult = DeploymentReport::FinalResult;

DeploymentReport failure(const DeployerSnapshot& before, const HawkbitDeployer& after) {
    const Recipient recipient = before.cancelling ? Recipient::cancellation : Recipient::deployment;
    const ErrorRecord& error = after.error();
    return {recipient,
            ExecutionStatus::closed,
            FinalResult::failure,
            {error.error_message, error.error_details, after.current_chunk_string()},
            error.code};
}

DeploymentReport success() {
    return {Recipient::deployment,
            ExecutionStatus::closed,
            FinalResult::success,
            {to_string(ActionMessage::DeploymentSuccessful)}};
}

DeploymentReport rejection() {
    return {Recipient::deployment,
            ExecutionStatus::rejected,
            FinalResult::none,
            {to_string(ActionMessage::DeploymentRejected)}};
}

DeploymentReport cancellation() {
    return {Recipient::cancellation, ExecutionStatus::closed, FinalResult::success, {}};
}

DeploymentReport installation_started(const HawkbitDeployer& after) {
    return {Recipient::deployment,
            ExecutionStatus::proceeding,
            FinalResult::none,
            {to_string(ActionMessage::InstallationStarted), after.current_chunk_string()},
            std::nullopt,
            true};
}

DeploymentReport chunk_deployed(const DeployerSnapshot& before, const HawkbitDeployer& after) {
    DeploymentReport report{Recipient::deployment,
                            ExecutionStatus::proceeding,
                            FinalResult::none,
                            {to_string(ActionMessage::ChunkDeployed), before.chunk}};
    if (!after.installer_output().empty()) {
        report.details.push_back(after.installer_output());
    }
    return report;
}

}  // namespace

DeployerSnapshot::DeployerSnapshot(const HawkbitDeployer& deployer)
    : finished{deployer.is_finished()},
      cancelled{deployer.is_cancelled()},
      failed{deployer.error().has_error},
      cancelling{deployer.is_cancelling()},
      installing{deployer.has_installer() || deployer.has_interrupted_installation()},
      progress{deployer.chunk_index()},
      chunk{deployer.current_chunk_string()} {}

bool has_newly_failed(const DeployerSnapshot& before, const HawkbitDeployer& after) {
    return !before.failed && after.error().has_error;
}

std::optional<DeploymentReport> report_step(const DeployerSnapshot& before,
                                            const HawkbitDeployer& after) {
    if (has_newly_failed(before, after)) {
        return failure(before, after);
    }
    if (!before.finished && after.is_finished()) {
        return success();
    }
    if (!before.cancelled && after.is_cancelled()) {
        return after.is_rejected() ? rejection() : cancellation();
    }
    if (!before.installing && after.has_installer()) {
        return installation_started(after);
    }
    if (after.chunk_index() > before.progress) {
        return chunk_deployed(before, after);
    }
    return std::nullopt;
}

DeploymentReport nothing_to_cancel() {
    return {Recipient::cancellation,
            ExecutionStatus::closed,
            FinalResult::success,
            {to_string(ActionMessage::DeploymentNotRunning)}};
}

}  // namespace zephran
