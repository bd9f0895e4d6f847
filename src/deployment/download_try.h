// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>

#include "common/file_descriptor.h"
#include "deployment/partial_file.h"
#include "http/httpclient.h"

namespace zephran {

/// One artifact to download.
struct DownloadTask {
    hawkbit::DeploymentActionMessage::Artifact artifact;
    std::string url;
    /// Where the artifact is to be.
    std::string path;
    /// Begin with what an earlier try has left, and leave what arrives to the next one.
    bool resumes = false;
    /// The announced size is a limit, and a failed write means that there is no room.
    bool checks_space = false;
    std::function<std::uint64_t(const std::string& path)> free_space;
};

/// How one try has ended.
struct DownloadOutcome {
    enum class Result {
        arrived,
        /// What was there is of no use and deleted; the next try begins at once.
        begin_anew,
        failed
    };

    Result result = Result::failed;
    /// Why it failed.
    std::exception_ptr failure{};
    /// Why what was there is of no use.
    std::string reason{};
    /// It is the sum of a file that arrived in pieces.
    bool sum_is_wrong = false;
    /// The header Retry-After, "" without one.
    std::string retry_after{};
    /// Bytes of the artifact that are there.
    std::uint64_t bytes = 0;
};

/// One try to download an artifact. It runs on a thread of its own.
class DownloadTry : private http::PartialReceiver {
public:
    /// @param stop_request ends the try when it becomes true; must outlive it
    DownloadTry(DownloadTask download_task, const std::atomic<bool>& stop_request);

    /// Called once. Whatever fails is in the result.
    [[nodiscard]] DownloadOutcome run(const http::Client& client);

    /// @name For other threads
    /// Artifacts are smaller than what these can count.
    /// @{
    /// Bytes of the artifact that are there.
    [[nodiscard]] unsigned long bytes_there() const { return there; }
    /// Bytes that this try has received.
    [[nodiscard]] unsigned long bytes_received() const { return received; }
    /// @}

private:
    bool take_head(const http::AnswerHead& answer) noexcept override;
    bool take(const char* data, std::size_t size) noexcept override;
    [[nodiscard]] bool is_stopped() const noexcept override { return stopped; }

    [[nodiscard]] std::uint64_t announced_size() const;
    void open();
    void transfer(const http::Client& client);
    void judge_error_status();
    void finish();
    [[nodiscard]] bool has_right_sum() const;
    [[nodiscard]] bool accept(const http::AnswerHead& answer);
    [[nodiscard]] bool accept_rest(const http::AnswerHead& answer);
    void begin_with(const http::AnswerHead& answer);
    void write(const char* data, std::size_t size);

    DownloadTask task;
    const std::atomic<bool>& stopped;
    PartialFile partial;
    ResumeRecord record;
    common::FileDescriptor file{-1};
    http::RangeWanted wanted;
    std::uint64_t bytes = 0;
    std::atomic<unsigned long> there{0};
    std::atomic<unsigned long> received{0};
    http::AnswerHead head;
    /// Of several pieces, so that its sum is looked at here.
    bool is_continued = false;
    DownloadOutcome outcome;
};

}  // namespace zephran
