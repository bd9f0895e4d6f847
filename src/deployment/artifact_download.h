// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>

#include "deployment/deployment_stage.h"
#include "deployment/download_try.h"
#include "deployment/free_space.h"
#include "deployment/retry_delay.h"
#include "options/download_options.h"

namespace zephran {

/// A download that goes on beside the main loop: a thread carries out one try after another, and
/// the main loop looks in once a tick. Used on the main thread only.
class ArtifactDownload {
public:
    using Work = std::function<DownloadOutcome()>;

    /// What reaches outside. Other values than the daemon's own are for unit tests.
    struct Environment {
        std::function<std::uint64_t(const std::string& path)> free_space = zephran::free_space;
        std::function<std::chrono::system_clock::time_point()> now = std::chrono::system_clock::now;
        DrawNumber draw = draw_number;
        std::function<std::future<DownloadOutcome>(const Work& work)> launch = run_in_thread;
    };

    /// @param make_client creates the client of each try
    ArtifactDownload(DownloadTask download_task, const DownloadOptions& download_options,
                     std::function<http::Client()> make_client,
                     const Environment& download_environment);
    /// Ends a running transfer, which takes up to a second.
    ~ArtifactDownload();
    ArtifactDownload(const ArtifactDownload&) = delete;
    ArtifactDownload& operator=(const ArtifactDownload&) = delete;

    /// Looks at the try that has ended, if one has.
    /// @returns true once the artifact is there
    /// @throws what the last try has thrown; hawkbit::VerificationFailedException if the sum of
    ///         what arrived in pieces is wrong a second time
    [[nodiscard]] bool poll();
    /// Begins a try, or lets one tick of the pause before it pass; nothing while one runs.
    void advance();
    /// Waits for the end of the running transfer.
    void wait() const;

    /// How far it has come.
    [[nodiscard]] DownloadProgress progress() const;
    /// Bytes that all tries have received.
    [[nodiscard]] std::uint64_t received() const;

    /// A thread without signals: those are the main thread's.
    static std::future<DownloadOutcome> run_in_thread(const Work& work);

private:
    void judge(const DownloadOutcome& outcome);
    void begin_anew(const DownloadOutcome& outcome);
    void try_again_later(const DownloadOutcome& outcome, const std::exception& failure);

    DownloadTask task;
    DownloadOptions options;
    std::function<http::Client()> make_http_client;
    Environment environment;
    std::shared_ptr<const DownloadTry> current_try;
    std::uint64_t received_before = 0;
    std::uint32_t failures = 0;
    std::uint32_t ticks_to_wait = 0;
    bool sum_was_wrong = false;
    bool arrived = false;
    std::atomic<bool> stopped{false};
    // The last member: its destructor waits for the thread, which uses the others.
    std::future<DownloadOutcome> running;
};

}  // namespace zephran
