// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <sstream>
#include <string>

#include "common/exception.h"
#include "common/logprint.h"
#include "common/record.h"
#include "fsm/advancing_fsm.h"
#include "hawkbit/attributes.h"
#include "hawkbit/messages/deployment_action.h"
#include "installer/download_folder.h"
#include "installer/error_record.h"

namespace zephran {

class HawkbitInstaller;

namespace hawkbit_installer_fsm {
struct FSMDef;
namespace events {
struct advance;
struct cancel;
struct resume;
}  // namespace events
}  // namespace hawkbit_installer_fsm

ZEPHRAN_RECORD(expected_count, unsigned, reported_at(515));
ZEPHRAN_RECORD(received_count, unsigned, reported_at(520));

struct ArtifactCountMismatchException : common::Exception {
    ArtifactCountMismatchException() : Exception{"Found unexpected number of artifacts"} {}
};
struct InstallationTimeoutException : common::Exception {
    InstallationTimeoutException()
        : Exception{"Exceeded the time limit waiting for the installation to finish"} {}
};
struct CancellationFailedException : common::Exception {
    CancellationFailedException() : Exception{"Failed to cancel installation"} {}
};
struct CannotBeCancelledException : common::Exception {
    CannotBeCancelledException() : Exception{"Installation cannot be cancelled"} {}
};

/// Installs one chunk of a deployment. A concrete installer knows how to start, query and cancel
/// its installation; this base class drives it through its state machine, one step per tick, and
/// keeps the record of installed versions in the configuration store.
class HawkbitInstaller
    : public AdvancingFSM<hawkbit_installer_fsm::FSMDef, hawkbit_installer_fsm::events::cancel,
                          hawkbit_installer_fsm::events::advance, HawkbitInstaller> {
public:
    using ChunkCallback = std::function<void(const hawkbit::DeploymentActionMessage::Chunk&)>;
    using Clock = std::function<std::chrono::system_clock::time_point()>;
    using SteadyClock = std::function<std::chrono::steady_clock::time_point()>;

    /// An installation fails if it takes this long.
    static constexpr std::chrono::seconds time_limit{7200};

    ~HawkbitInstaller() override;

    /// Sets what to install, and for which target, before the first tick.
    /// @param attributes of the target; must outlive the installer
    /// @param folder where the target's artifacts are
    void assign(const hawkbit::DeploymentActionMessage::Chunk& new_chunk,
                const hawkbit::Attributes& attributes, const DownloadFolder& folder = {});

    /// Sets what is called right before the installation starts, but not when one is resumed. An
    /// exception of it fails the installation.
    void call_before_start(ChunkCallback check) { before_start = std::move(check); }

    /// Sets what is called right before a tool overwrites the part. An exception of it fails the
    /// installation, with the part as it was.
    void call_before_overwriting(ChunkCallback note) { before_overwriting = std::move(note); }

    /// Sets what is called right before a step that must not be taken twice, even if the device
    /// reboots in it. An exception of it fails the installation, without the step.
    void call_before_beginning(ChunkCallback note) { before_beginning = std::move(note); }

    void cancel();
    /// Resumes an installation that was started before an interruption: it is not started again,
    /// but only asked whether it has finished.
    void resume();

    [[nodiscard]] bool is_finished() const { return outcome == Outcome::finished; }
    [[nodiscard]] bool is_cancelled() const { return outcome == Outcome::cancelled; }
    /// True if an earlier process has started the installation.
    [[nodiscard]] bool is_resumed() const { return resumed; }
    [[nodiscard]] const ErrorRecord& error() const { return error_; }
    /// The installer's own report, sent to the server when the chunk is done.
    [[nodiscard]] std::string hawkbit_log() const { return report_.str(); }

    /// True if the installation reboots the device.
    [[nodiscard]] virtual bool will_reboot() const { return false; }
    /// True if a finished installation is recorded in the configuration store.
    [[nodiscard]] virtual bool records_installed_version() const { return true; }
    /// True if it can be determined after an interruption whether the installation has finished.
    /// Otherwise the chunk is installed again: waiting would only end at the time limit.
    [[nodiscard]] virtual bool can_resume() const { return false; }

    /// The recorded version of a part type, "" if there is none.
    static std::string get_installed_version(const std::string& part);
    /// When that version was installed, such as "2024-03-01T12:00:00Z"; "" if there is none.
    static std::string get_installed_version_time(const std::string& part);

    /// Forwards to installer::copy_file() and throws what that throws.
    static void copy_file(const std::string& source, const std::string& destination);

    /// @name Guards, actions and entries of the state machine
    /// @{
    [[nodiscard]] bool ask_installation_has_finished();
    [[nodiscard]] bool installation_has_timeout();
    [[nodiscard]] bool ask_cancellation_has_finished();
    void tell_check_artifact_count();
    void tell_start_installation();
    void tell_cancel_installation();
    void fail_cancellation();
    void enter_finished();
    void enter_cancelled();

    /// Keeps the error of an exception that a guard or an action threw.
    /// @param while_cancelling it was thrown while a cancel was processed: the cancel is refused
    void exception_caught(const std::exception& error, bool while_cancelling) {
        ZLOG_ERROR("event", "exception_caught", "action", "fsm_installer_event", "what",
                   error.what());
        error_.keep_first(error);
        if (!while_cancelling) {
            move_to(Outcome::failed);
        }
    }
    /// @}

protected:
    /// @param current_time replaces the system clock in tests
    /// @param steady_time  measures the time limit; replaced in tests
    explicit HawkbitInstaller(Clock current_time = std::chrono::system_clock::now,
                              SteadyClock steady_time = std::chrono::steady_clock::now);

    /// Throws unless the chunk has the number of artifacts that the installer can handle.
    /// @throws ArtifactCountMismatchException unless there is exactly one
    virtual void check_artifact_count();
    /// Calls what call_before_start() has set. It has been called when start_installation() is.
    void check_before_start() const;
    /// Starts the installation; a short one may run to its end here.
    virtual void start_installation() = 0;
    /// To be called right before the tool runs that overwrites the part.
    void about_to_overwrite() const;
    /// To be called right before a step that must not be taken twice.
    void about_to_begin() const;
    /// @throws any exception to report that the installation has failed
    [[nodiscard]] virtual bool installation_has_finished() = 0;
    /// Starts to cancel the running installation.
    /// @throws CannotBeCancelledException if that is impossible
    virtual void cancel_installation() = 0;
    [[nodiscard]] virtual bool cancellation_has_finished() = 0;

    [[nodiscard]] const hawkbit::DeploymentActionMessage::Chunk& chunk() const { return chunk_; }
    /// Where an artifact of the chunk is.
    /// @throws hawkbit::UnsafeFilenameException
    [[nodiscard]] std::string path_of(
        const hawkbit::DeploymentActionMessage::Artifact& artifact) const;
    std::ostream& report() { return report_; }

private:
    /// The outcome of the installation, from the least to the most final. A requested cancel and a
    /// failure lead through the same states of the machine; the outcome distinguishes them.
    enum class Outcome {
        /// Not known yet. If a cancel is refused, the installation continues.
        open,
        /// An exception has ended it. A refused cancel no longer keeps it running.
        failed,
        /// It has failed and cannot be cancelled: there is no cancellation to wait for.
        abandoned,
        finished,
        cancelled
    };

    /// The only function that changes the outcome; it never makes it less final.
    void move_to(Outcome next);
    void store_installed_version_time();

    hawkbit::DeploymentActionMessage::Chunk chunk_;
    DownloadFolder download_folder;
    ChunkCallback before_start;
    ChunkCallback before_overwriting;
    ChunkCallback before_beginning;
    const hawkbit::Attributes* target_attributes = nullptr;
    Outcome outcome = Outcome::open;
    bool resumed = false;
    ErrorRecord error_;
    std::ostringstream report_;
    Clock now;
    SteadyClock steady_now;
    std::chrono::steady_clock::time_point start_time;
};

}  // namespace zephran
