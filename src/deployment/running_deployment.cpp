// SPDX-License-Identifier: Apache-2.0
#include "deployment/running_deployment.h"

#include <utility>

namespace zephran {

RunningDeployment::RunningDeployment(std::unique_ptr<HawkbitDeployer> new_deployer,
                                     hawkbit::Controller start_address)
    : deployer_{std::move(new_deployer)}, address_{std::move(start_address)} {}

RunningDeployment::~RunningDeployment() {
    if (!has_ended() && !deployer_->has_resumed_installation()) {
        deployer_->keep_partial_files();
        deployer_->cleanup();
    }
}

bool RunningDeployment::has_ended() const {
    return deployer_->is_finished() || deployer_->is_cancelled();
}

bool RunningDeployment::was_fetched_from(const common::URI& link) const {
    return !link.empty() &&
           link.with_query("").str() == address_.deployment_base().with_query("").str();
}

void RunningDeployment::withdraw() {
    withdrawn = true;
    deployer_->cancel();
}

std::optional<DeploymentReport> RunningDeployment::give_up(const std::exception& reason) {
    const DeployerSnapshot before{*deployer_};
    deployer_->exception_caught(reason);
    auto report = report_step(before, *deployer_);
    failed_in_last_step = has_newly_failed(before, *deployer_);
    failure_reported = true;
    // Not at the next step: its installer would take one, too.
    deployer_->cancel();
    return unless_withdrawn(std::move(report));
}

std::optional<DeploymentReport> RunningDeployment::step() {
    const DeployerSnapshot before{*deployer_};
    deployer_->tick();
    failed_in_last_step = has_newly_failed(before, *deployer_);
    if (failure_reported) {
        return std::nullopt;
    }
    failure_reported = failed_in_last_step;
    return unless_withdrawn(report_step(before, *deployer_));
}

// Nobody waits for the answer to a cancellation that the server has not asked for.
std::optional<DeploymentReport> RunningDeployment::unless_withdrawn(
    std::optional<DeploymentReport> report) const {
    if (report && withdrawn && report->recipient == DeploymentReport::Recipient::cancellation) {
        return std::nullopt;
    }
    return report;
}

}  // namespace zephran
