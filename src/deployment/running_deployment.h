#pragma once

#include <memory>
#include <optional>

#include "deployment/deployment_report.h"
#include "deployment/hawkbit_deployer.h"
#include "hawkbit/controller.h"

namespace zephran {

/// A deployer together with what its reports need to know of its start and its end.
class RunningDeployment {
public:
    /// @param start_address the controller's addresses when the deployment was started. Reports go
    ///        there even if the server offers another action meanwhile: it knows an action by its
    ///        URL alone and would take them for that one's.
    RunningDeployment(std::unique_ptr<HawkbitDeployer> new_deployer,
                      hawkbit::Controller start_address);
    /// A deployment that is given up on the way leaves no downloads behind.
    ~RunningDeployment();
    RunningDeployment(const RunningDeployment&) = delete;
    RunningDeployment& operator=(const RunningDeployment&) = delete;

    [[nodiscard]] HawkbitDeployer& deployer() { return *deployer_; }
    [[nodiscard]] const HawkbitDeployer& deployer() const { return *deployer_; }
    [[nodiscard]] const hawkbit::Controller& address() const { return address_; }

    /// Finished or cancelled.
    [[nodiscard]] bool has_ended() const;
    /// True when the step just taken has failed the deployment.
    [[nodiscard]] bool has_failed_in_last_step() const { return failed_in_last_step; }
    /// True when this link, whatever its query, is the one that the deployment was fetched from.
    [[nodiscard]] bool was_fetched_from(const common::URI& link) const;

    /// Cancels the deployment because the server no longer asks for it. Nobody waits for an answer
    /// to that.
    void withdraw();

    /// Lets the deployer take a step.
    /// @returns what the server is to be told; nothing more once a failure has been reported
    std::optional<DeploymentReport> step();

private:
    std::unique_ptr<HawkbitDeployer> deployer_;
    hawkbit::Controller address_;
    bool withdrawn = false;
    bool failed_in_last_step = false;
    bool failure_reported = false;
};

}  // namespace zephran
