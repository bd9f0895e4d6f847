// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>

#include <gtest/gtest.h>

#include "deployment/artifact_download.h"
#include "http/exceptions.h"
#include "support/captured_log.h"
#include "support/deployer_bench.h"
#include "support/fake_http_client.h"
#include "support/temporary_directory.h"

namespace zephran::test {

/// The download of ten bytes, and a server that answers each try with the next of its answers.
class ArtifactDownloadOfBytes : public ::testing::Test {
protected:
    static constexpr const char* content = "0123456789";

    /// What the server answers to one try.
    using Answer = FileServer::PartialAnswer;

    static Answer whole(const std::string& bytes, CURLcode end = CURLE_OK) {
        return {{200, "tag", "", ""}, bytes, end};
    }

    static Answer rest_from(std::size_t first, CURLcode end = CURLE_OK, std::size_t count = 10) {
        return {{206, "tag", "bytes " + std::to_string(first) + "-9/10", ""},
                std::string{content}.substr(first, count),
                end};
    }

    static Answer refusal(unsigned status, const std::string& retry_after = {}) {
        return {{status, "", "", retry_after}};
    }

    ArtifactDownloadOfBytes() {
        const DeploymentText deployment{"7", {{"script", "a", "1", {{"a.bin", content, content}}}}};
        task.artifact = deployment_from(deployment).chunks().front().artifacts().front();
        task.url = ArtifactText::secure_link("a.bin");
        task.path = directory.path("a.bin");
        task.free_space = [](const std::string& /*path*/) { return std::uint64_t{3}; };
        options.attempts = 3;
        options.retry_delay = 4;
        environment.now = [] { return std::chrono::system_clock::from_time_t(784111777); };
        server.on_range = [this](const http::RangeWanted& /*wanted*/) {
            const Answer answer = answers.at(server.ranges.size() - 1);
            return answer;
        };
    }

    ArtifactDownload& begin() {
        download =
            std::make_unique<ArtifactDownload>(task, options, server.client_maker(), environment);
        return *download;
    }

    /// Ticks, as the deployer does, until the artifact is there.
    /// @returns the ticks it took
    unsigned run() {
        constexpr unsigned more_than_enough = 1000;
        for (unsigned tick = 0; tick < more_than_enough; ++tick) {
            if (download->poll()) {
                return tick;
            }
            download->advance();
        }
        throw std::logic_error{"The download does not end"};
    }

    [[nodiscard]] std::vector<std::uint64_t> first_bytes_wanted() const {
        std::vector<std::uint64_t> bytes;
        std::transform(server.ranges.begin(), server.ranges.end(), std::back_inserter(bytes),
                       [](const http::RangeWanted& wanted) { return wanted.from; });
        return bytes;
    }

    CapturedLog log;
    TemporaryDirectory directory;
    FileServer server;
    std::vector<Answer> answers;
    DownloadTask task;
    DownloadOptions options;
    ArtifactDownload::Environment environment = DeployerBench::at_once();
    std::unique_ptr<ArtifactDownload> download;
};

}  // namespace zephran::test
