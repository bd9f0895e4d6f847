#include "deployment/running_deployment.h"

#include <utility>

namespace zephran {

RunningDeployment::RunningDeployment(std::unique_ptr<HawkbitDeployer> new_deployer,
                                     hawkbit::Controller start_address)
    : running{std::move(new_deployer)}, address_at_start{std::move(start_address)} {}

RunningDeployment::~RunningDeployment() {
    if (!has_ended()) {
        running->cleanup();
    }
}

bool RunningDeployment::has_ended() const {
    return running->is_finished() || running->is_cancelled();
}

bool RunningDeployment::was_fetched_from(const common::URI& link) const {
    return !link.empty() &&
           link.with_query("").str() == address_at_start.deployment_base().with_query("").str();
}

void RunningDeployment::withdraw() {
    withdrawn = true;
    running->cancel();
}

std::optional<DeploymentReport> RunningDeployment::step() {
    const DeployerSnapshot before{*running};
    running->tick();
    failed_in_last_step = has_newly_failed(before, *running);
    if (failure_reported) {
        return std::nullopt;
    }
    failure_reported = failed_in_last_step;
    auto report = report_step(before, *running);
    if (report && withdrawn && report->recipient == DeploymentReport::Recipient::cancellation) {
        return std::nullopt;
    }
    return report;
}

}  // namespace zephran
