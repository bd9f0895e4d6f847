// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hawkbit/messages/feedback.h"

namespace zephran {

class HawkbitDeployer;

/// The state of a deployer before a step, to find out what the step has changed.
struct DeployerSnapshot {
    explicit DeployerSnapshot(const HawkbitDeployer& deployer);

    bool finished;
    bool cancelled;
    bool failed;
    bool cancelling;
    bool installing;
    std::uint32_t progress;
    std::string chunk;
};

/// A report to the server on one step of a deployment.
struct DeploymentReport {
    using ExecutionStatus = hawkbit::ActionFeedbackMessage::ExecutionStatus;
    using FinalResult = hawkbit::ActionFeedbackMessage::FinalResult;

    /// Which action is answered: the deployment itself or its cancellation.
    enum class Recipient { deployment, cancellation };

    Recipient recipient = Recipient::deployment;
    ExecutionStatus execution = ExecutionStatus::proceeding;
    FinalResult result = FinalResult::none;
    std::vector<std::string> details;
    /// Kind of the failure that the report tells of.
    std::optional<int> code = std::nullopt;
    bool starts_installation = false;
};

/// True if the deployer has failed since the snapshot was taken.
bool has_newly_failed(const DeployerSnapshot& before, const HawkbitDeployer& after);

/// The report on the step since the snapshot; none if there is nothing to report. A failure takes
/// precedence over everything else.
std::optional<DeploymentReport> report_step(const DeployerSnapshot& before,
                                            const HawkbitDeployer& after);

/// The answer to a cancel action when there is no deployment.
DeploymentReport nothing_to_cancel();

}  // namespace zephran
