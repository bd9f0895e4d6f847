#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hawkbit/messages/feedback.h"

namespace zephran {

class HawkbitDeployer;

/// What a deployer's step is compared with to find out what happened in it.
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

/// What the server is to be told about one step of a deployment.
struct DeploymentReport {
    using ExecutionStatus = hawkbit::ActionFeedbackMessage::ExecutionStatus;
    using FinalResult = hawkbit::ActionFeedbackMessage::FinalResult;

    /// Which action is answered: the deployment itself or its cancellation.
    enum class Recipient { deployment, cancellation };

    Recipient recipient = Recipient::deployment;
    ExecutionStatus execution = ExecutionStatus::proceeding;
    FinalResult result = FinalResult::none;
    std::vector<std::string> details;
};

/// True when the deployer has failed in the step since the snapshot was taken.
bool has_newly_failed(const DeployerSnapshot& before, const HawkbitDeployer& after);

/// The one report on the step since the snapshot; none when nothing worth telling happened. A
/// failure outranks everything else.
std::optional<DeploymentReport> report_step(const DeployerSnapshot& before,
                                            const HawkbitDeployer& after);

}  // namespace zephran
