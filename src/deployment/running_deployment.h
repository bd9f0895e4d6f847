// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <memory>
#include <optional>

#include "deployment/deployment_report.h"
#include "deployment/hawkbit_deployer.h"
#include "hawkbit/controller.h"

namespace zephran {

/// A deployer together with what its reports need to know about its start and end.
class RunningDeployment {
public:
    /// @param start_address the controller's addresses when the deployment was started. Reports go
    ///        there even if the server now offers another action: it identifies an action by its
    ///        URL alone and would attribute them to that one.
    RunningDeployment(std::unique_ptr<HawkbitDeployer> new_deployer,
                      hawkbit::Controller start_address);
    /// Deletes the downloaded files of a deployment that has not ended, but neither what the next
    /// process resumes nor what a tool of an earlier process may still need.
    ~RunningDeployment();
    RunningDeployment(const RunningDeployment&) = delete;
    RunningDeployment& operator=(const RunningDeployment&) = delete;

    [[nodiscard]] HawkbitDeployer& deployer() { return *deployer_; }
    [[nodiscard]] const HawkbitDeployer& deployer() const { return *deployer_; }
    [[nodiscard]] const hawkbit::Controller& address() const { return address_; }

    /// Finished or cancelled.
    [[nodiscard]] bool has_ended() const;
    /// True if the deployment failed in its last step.
    [[nodiscard]] bool has_failed_in_last_step() const { return failed_in_last_step; }
    /// True if the deployment was fetched from this link; the query is ignored.
    [[nodiscard]] bool was_fetched_from(const common::URI& link) const;

    /// Cancels the deployment without a report.
    void withdraw();

    /// Ends the deployment before the installation that was about to start.
    /// @returns the report for the server; none if the deployment had failed before, or if it would
    ///          answer a cancellation that the server has not asked for
    std::optional<DeploymentReport> give_up(const std::exception& reason);

    /// Lets the deployer take a step.
    /// @returns the report for the server; none after a failure has been reported, or if it would
    ///          answer a cancellation that the server has not asked for
    std::optional<DeploymentReport> step();

private:
    [[nodiscard]] std::optional<DeploymentReport> unless_withdrawn(
        std::optional<DeploymentReport> report) const;

    std::unique_ptr<HawkbitDeployer> deployer_;
    hawkbit::Controller address_;
    bool withdrawn = false;
    bool failed_in_last_step = false;
    bool failure_reported = false;
};

}  // namespace zephran
