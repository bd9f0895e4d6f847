// SPDX-License-Identifier: Apache-2.0
#include "deployment/download_try.h"

#include <algorithm>
#include <utility>

#include "common/exception.h"
#include "common/logprint.h"
#include "common/own_file.h"
#include "common/regular_file.h"
#include "common/uri.h"
#include "deployment/free_space.h"
#include "http/content_range.h"
#include "http/exceptions.h"
#include "installer/artifact_digest.h"

namespace zephran {

namespace {

constexpr unsigned partial_content = 206;
constexpr unsigned first_error_status = 400;
constexpr unsigned range_not_satisfiable = 416;

std::string path_and_query(const std::string& url) {
    const common::URI uri{url};
    return uri.query().empty() ? uri.path() : uri.path() + "?" + uri.query();
}

/// What a try needs to say that it is pointless to go on with what is there.
struct UselessPartException : common::Exception {
    UselessPartException() : Exception{"The partial file is of no use"} {}
};

}  // namespace

DownloadTry::DownloadTry(DownloadTask download_task, const std::atomic<bool>& stop_request)
    : task{std::move(download_task)}, stopped{stop_request}, partial{task.path} {
    record.address = path_and_query(task.url);
    record.size = announced_size();
    record.digest = artifact_digest::text(task.artifact);
}

std::uint64_t DownloadTry::announced_size() const {
    return static_cast<std::uint64_t>(std::max(task.artifact.size(), 0));
}

DownloadOutcome DownloadTry::run(const http::Client& client) {
    try {
        open();
        transfer(client);
        finish();
        outcome.result = DownloadOutcome::Result::arrived;
    } catch (const UselessPartException&) {
        partial.remove();
        outcome.result = DownloadOutcome::Result::begin_anew;
    } catch (const std::exception&) {
        outcome.failure = std::current_exception();
    }
    outcome.retry_after = head.retry_after;
    outcome.bytes = bytes;
    return std::move(outcome);
}

void DownloadTry::open() {
    if (!task.resumes) {
        file = common::create_own_file(task.path);
        return;
    }
    file = partial.reopen(record);
    if (!file.is_open()) {
        file = partial.begin();
        return;
    }
    bytes = size_of(file);
    there = static_cast<unsigned long>(bytes);
    wanted = {bytes, record.entity_tag};
}

void DownloadTry::transfer(const http::Client& client) {
    try {
        client.download_part(task.url, wanted, *this);
    } catch (const http::HttpErrorCodeException&) {
        judge_error_status();
    } catch (const http::HttpRequestException&) {
        // A transfer that was ended here has failed for another reason than libcurl's.
        if (outcome.failure != nullptr) {
            std::rethrow_exception(outcome.failure);
        }
        throw;
    }
}

/// Rethrows the error, unless it says that nothing is missing.
void DownloadTry::judge_error_status() {
    if (head.status != range_not_satisfiable || wanted.from == 0) {
        throw;  // NOLINT(misc-throw-by-value-catch-by-reference): called by the handler
    }
    if (bytes != announced_size()) {
        outcome.reason = "the server does not have the rest";
        ZEPHRAN_THROW(UselessPartException{});
    }
    is_continued = true;
}

void DownloadTry::finish() {
    if (is_continued && !has_right_sum()) {
        outcome.reason = "the sum of the whole file is wrong";
        outcome.sum_is_wrong = true;
        ZEPHRAN_THROW(UselessPartException{});
    }
    if (task.resumes) {
        partial.complete();
    }
}

bool DownloadTry::has_right_sum() const {
    common::RegularFile whole{partial.path()};
    const auto hash = artifact_digest::make(task.artifact);
    for (const auto* block = &whole.read(); !block->empty(); block = &whole.read()) {
        if (stopped) {
            ZEPHRAN_THROW(http::HttpRequestException{}
                          << http::curlcode_tag{CURLE_ABORTED_BY_CALLBACK});
        }
        hash->update(*block);
    }
    return hash->digest() == artifact_digest::stated(task.artifact);
}

bool DownloadTry::take_head(const http::AnswerHead& answer) noexcept {
    try {
        head = answer;
        return answer.status >= first_error_status || accept(answer);
    } catch (const std::exception&) {
        outcome.failure = std::current_exception();
        return false;
    }
}

bool DownloadTry::accept(const http::AnswerHead& answer) {
    if (wanted.from == 0) {
        begin_with(answer);
        return true;
    }
    if (answer.status == partial_content) {
        return accept_rest(answer);
    }
    ZLOG_WARNING_AS("download_artifact", "event", "download_restarted", "filename", task.path,
                    "what", "the server sends the whole file");
    file = partial.begin();
    bytes = 0;
    there = 0;
    begin_with(answer);
    return true;
}

bool DownloadTry::accept_rest(const http::AnswerHead& answer) {
    const bool is_same_file = answer.entity_tag.empty() || answer.entity_tag == wanted.entity_tag;
    if (!is_same_file ||
        !http::is_rest_of_file(answer.content_range, wanted.from, announced_size())) {
        outcome.reason = "the server sends something else than the rest";
        ZEPHRAN_THROW(UselessPartException{});
    }
    is_continued = true;
    ZLOG_INFO_AS("download_artifact", "event", "download_resumed", "from", wanted.from, "of",
                 announced_size());
    return true;
}

void DownloadTry::begin_with(const http::AnswerHead& answer) {
    if (task.resumes) {
        record.entity_tag = answer.entity_tag;
        partial.write_record(record);
    }
}

bool DownloadTry::take(const char* data, std::size_t size) noexcept {
    try {
        write(data, size);
        return true;
    } catch (const std::exception&) {
        outcome.failure = std::current_exception();
        return false;
    }
}

void DownloadTry::write(const char* data, std::size_t size) {
    if (task.checks_space) {
        require_space(bytes + size, announced_size());
    }
    const std::size_t written = file.write(data, size);
    bytes += written;
    there = static_cast<unsigned long>(bytes);
    received += static_cast<unsigned long>(written);
    if (written == size) {
        return;
    }
    if (task.checks_space) {
        // Root's reserve and other writers make the figure inexact, but not the failure.
        const std::uint64_t rest = announced_size() - bytes;
        require_space(rest, std::min(task.free_space(task.path), rest - 1));
    }
    ZEPHRAN_THROW(common::FileWriteException{} << common::filename_tag{task.path});
}

}  // namespace zephran
