// SPDX-License-Identifier: Apache-2.0
#include "installer/hawkbit_installer.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include <boost/exception/diagnostic_information.hpp>

#include "common/exception.h"
#include "installer/artifact_path.h"
#include "installer/file_copy.h"
#include "platform.h"
#include "store/device_store.h"

namespace zephran {

namespace {

ZEPHRAN_REPORTED(expected_count);
ZEPHRAN_REPORTED(received_count);

std::string format_installation_time(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm utc{};
    std::array<char, 32> text{};
    if (gmtime_r(&seconds, &utc) == nullptr ||
        std::strftime(text.data(), text.size(), "%FT%TZ", &utc) == 0) {
        return {};
    }
    return text.data();
}

}  // namespace

HawkbitInstaller::HawkbitInstaller(Clock current_time, SteadyClock steady_time)
    : AdvancingFSM{*this},
      now{std::move(current_time)},
      steady_now{std::move(steady_time)},
      start_time{steady_now()} {}

HawkbitInstaller::~HawkbitInstaller() = default;

void HawkbitInstaller::assign(const hawkbit::DeploymentActionMessage::Chunk& new_chunk,
                              const hawkbit::Attributes& attributes, const DownloadFolder& folder) {
    chunk_ = new_chunk;
    target_attributes = &attributes;
    download_folder = folder;
}

std::string HawkbitInstaller::path_of(
    const hawkbit::DeploymentActionMessage::Artifact& artifact) const {
    return artifact_path(artifact, download_folder);
}

void HawkbitInstaller::check_artifact_count() {
    constexpr std::size_t expected = 1;
    const std::size_t received = chunk().artifacts().size();
    if (received != expected) {
        ZEPHRAN_THROW(ArtifactCountMismatchException{}
                      << expected_count_tag{static_cast<unsigned>(expected)}
                      << received_count_tag{static_cast<unsigned>(received)});
    }
}

bool HawkbitInstaller::ask_installation_has_finished() {
    ZLOG_DEBUG("event", "installation_has_finished", "fsm", fsm_identity());
    return installation_has_finished();
}

bool HawkbitInstaller::installation_has_timeout() {
    ZLOG_DEBUG("event", "installation_has_timeout", "fsm", fsm_identity());
    if (steady_now() - start_time >= time_limit) {
        ZEPHRAN_THROW(InstallationTimeoutException{});
    }
    return false;
}

bool HawkbitInstaller::ask_cancellation_has_finished() {
    ZLOG_DEBUG("event", "cancellation_has_finished", "fsm", fsm_identity());
    return outcome == Outcome::abandoned || cancellation_has_finished();
}

void HawkbitInstaller::tell_check_artifact_count() {
    ZLOG_DEBUG("event", "check_artifact_count", "fsm", fsm_identity());
    check_artifact_count();
}

void HawkbitInstaller::tell_start_installation() {
    ZLOG_DEBUG("event", "start_installation", "fsm", fsm_identity());
    check_before_start();
    start_installation();
}

void HawkbitInstaller::check_before_start() const {
    if (before_start) {
        before_start(chunk());
    }
}

void HawkbitInstaller::about_to_overwrite() const {
    if (before_overwriting) {
        before_overwriting(chunk());
    }
}

void HawkbitInstaller::about_to_begin() const {
    if (before_beginning) {
        before_beginning(chunk());
    }
}

void HawkbitInstaller::tell_cancel_installation() {
    ZLOG_DEBUG("event", "cancel_installation", "fsm", fsm_identity());
    try {
        cancel_installation();
    } catch (const std::exception& error) {
        // A failed installation has ended, whether or not it can be cancelled.
        if (outcome == Outcome::open) {
            throw;
        }
        ZLOG_WARNING("event", "exception_caught", "action", "cancel_installation", "what",
                     boost::diagnostic_information(error), "message",
                     "giving up a failed installation");
        move_to(Outcome::abandoned);
    }
}

void HawkbitInstaller::fail_cancellation() {
    ZLOG_DEBUG("event", "fail_cancellation", "fsm", fsm_identity());
    ZEPHRAN_THROW(CancellationFailedException{});
}

void HawkbitInstaller::enter_finished() {
    store_installed_version_time();
    move_to(Outcome::finished);
}

void HawkbitInstaller::enter_cancelled() {
    move_to(Outcome::cancelled);
}

void HawkbitInstaller::move_to(Outcome next) {
    outcome = std::max(outcome, next);
}

void HawkbitInstaller::store_installed_version_time() {
    const bool is_device_behind_gateway =
        target_attributes != nullptr && !hawkbit::is_gateway(*target_attributes);
    if (!records_installed_version() || is_device_behind_gateway) {
        return;
    }
    DeviceStore{*platform::get_config()}.record_installation(chunk().part(), chunk().version(),
                                                             format_installation_time(now()),
                                                             {"store_installed_version_time"});
}

std::string HawkbitInstaller::get_installed_version(const std::string& part) {
    return DeviceStore{*platform::get_config()}.installed_version(part);
}

std::string HawkbitInstaller::get_installed_version_time(const std::string& part) {
    return DeviceStore{*platform::get_config()}.installation_time(part);
}

void HawkbitInstaller::copy_file(const std::string& source, const std::string& destination) {
    installer::copy_file(source, destination);
}

}  // namespace zephran
