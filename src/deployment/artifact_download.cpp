// SPDX-License-Identifier: Apache-2.0
#include "deployment/artifact_download.h"

#include <algorithm>
#include <csignal>
#include <utility>

#include <pthread.h>

#include "common/logprint.h"
#include "common/new_thread.h"
#include "hawkbit/exceptions.h"
#include "http/retry_policy.h"

namespace zephran {

namespace {

constexpr const char* logged_function = "download_artifact";

/// Threads inherit the mask.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before{};
};

}  // namespace

ArtifactDownload::ArtifactDownload(DownloadTask download_task,
                                   const DownloadOptions& download_options,
                                   std::function<http::Client()> make_client,
                                   const Environment& download_environment)
    : task{std::move(download_task)},
      options{download_options},
      make_http_client{std::move(make_client)},
      environment{download_environment} {}

ArtifactDownload::~ArtifactDownload() {
    stopped = true;
}

std::future<DownloadOutcome> ArtifactDownload::run_in_thread(const Work& work) {
    const SignalsBlocked signals_blocked;
    return common::begin_in_thread(work);
}

bool ArtifactDownload::poll() {
    constexpr std::chrono::seconds not_at_all{0};
    if (running.valid() && running.wait_for(not_at_all) == std::future_status::ready) {
        judge(running.get());
    }
    return arrived;
}

void ArtifactDownload::advance() {
    if (running.valid() || arrived) {
        return;
    }
    if (ticks_to_wait != 0) {
        --ticks_to_wait;
        return;
    }
    const auto client = std::make_shared<http::Client>(make_http_client());
    const auto attempt = std::make_shared<DownloadTry>(task, stopped);
    received_before = received();
    current_try = attempt;
    running = environment.launch([client, attempt] { return attempt->run(*client); });
}

void ArtifactDownload::wait() const {
    if (running.valid()) {
        running.wait();
    }
}

DownloadProgress ArtifactDownload::progress() const {
    DownloadProgress progress;
    progress.bytes = current_try == nullptr ? 0 : current_try->bytes_there();
    progress.size = static_cast<std::uint64_t>(std::max(task.artifact.size(), 0));
    progress.attempt = failures + 1;
    return progress;
}

std::uint64_t ArtifactDownload::received() const {
    return received_before + (current_try == nullptr ? 0 : current_try->bytes_received());
}

void ArtifactDownload::judge(const DownloadOutcome& outcome) {
    if (outcome.result == DownloadOutcome::Result::arrived) {
        arrived = true;
        return;
    }
    if (outcome.result == DownloadOutcome::Result::begin_anew) {
        begin_anew(outcome);
        return;
    }
    try {
        std::rethrow_exception(outcome.failure);
    } catch (const std::exception& failure) {
        ++failures;
        if (failures >= options.attempts || !http::is_passing(failure)) {
            throw;
        }
        try_again_later(outcome, failure);
    }
}

void ArtifactDownload::begin_anew(const DownloadOutcome& outcome) {
    if (outcome.sum_is_wrong && std::exchange(sum_was_wrong, true)) {
        ZEPHRAN_THROW(hawkbit::VerificationFailedException{} << common::filename_tag{task.path});
    }
    ZLOG_WARNING_AS(logged_function, "event", "download_restarted", "filename", task.path, "what",
                    outcome.reason);
}

void ArtifactDownload::try_again_later(const DownloadOutcome& outcome,
                                       const std::exception& failure) {
    ticks_to_wait = retry_delay(options, failures,
                                http::parse_retry_after(outcome.retry_after, environment.now()),
                                environment.draw);
    ZLOG_WARNING_AS(logged_function, "event", "download_retry", "attempt", failures + 1, "of",
                    options.attempts, "delay",
                    std::chrono::milliseconds{std::chrono::seconds{ticks_to_wait}}, "bytes",
                    outcome.bytes, "what", http::describe_failure(failure));
}

}  // namespace zephran
