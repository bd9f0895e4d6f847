// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "common/popen.h"
#include "installer/exceptions.h"
#include "installer/installer_context.h"
#include "installer/one_tick_installer.h"

namespace zephran::installer {

/// Carries script_exit_code_tag and script_output_tag.
struct ScriptExecutionFailedException : common::Exception {
    ScriptExecutionFailedException() : Exception{"Script returned an error"} {}
};

/// Runs an executable artifact on the device; its exit code decides whether the chunk is installed.
/// The script runs to its end within one tick. Only the first artifact of a chunk is run; the
/// others are its data files.
class ScriptInstaller : public OneTickInstaller {
public:
    /// A script that runs longer is killed, and the installation fails.
    static constexpr std::chrono::seconds default_time_limit{900};

    explicit ScriptInstaller(std::chrono::milliseconds script_time_limit = default_time_limit,
                             const common::TimeLimits& process_limits = {});

    static std::unique_ptr<HawkbitInstaller> create(const InstallerContext& context);

    /// Scripts run every time they are deployed; they never count as already installed.
    [[nodiscard]] bool records_installed_version() const override { return false; }
    /// A script that was started counts as finished: its purpose may be to reboot the device.
    [[nodiscard]] bool can_resume() const override { return true; }

protected:
    /// @throws ArtifactCountMismatchException if there is no artifact
    void check_artifact_count() override;
    /// @throws ScriptExecutionFailedException, common::AbnormalTerminationException,
    ///         common::POpenFailedException
    void start_installation() override;
    [[nodiscard]] bool installation_has_finished() override;

private:
    std::chrono::milliseconds time_limit_of_script;
    common::TimeLimits limits;
};

}  // namespace zephran::installer
