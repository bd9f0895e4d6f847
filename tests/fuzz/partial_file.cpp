// SPDX-License-Identifier: Apache-2.0
// An artifact of which a part may be there, beside a record, and what the server sends of it.
// Texts: the record ("" for the right one), the bytes that are there, then for each answer the
// ETag, the range and the body; a byte before each chooses.
#include <array>
#include <atomic>
#include <filesystem>

#include "deployment/download_try.h"
#include "fuzz/target.h"
#include "installer/artifact_digest.h"
#include "support/fake_http_client.h"
#include "support/temporary_directory.h"

namespace zephran::fuzz {

namespace {

const std::string content = "abcdefghijklmnopqrstuvwxyz";
const std::string name = "image.bin";
const std::string tag = "\"tag\"";

const hawkbit::DeploymentActionMessage::Artifact& artifact() {
    static const auto message =
        test::deployment_from({"7", {{"os", "firmware", "2", {{name, content}}}}});
    return message.chunks().front().artifacts().front();
}

std::string right_record() {
    ResumeRecord record;
    record.address = "/files/" + name;
    record.size = content.size();
    record.digest = artifact_digest::text(artifact());
    record.entity_tag = tag;
    return record.to_text();
}

void leave_files(Input& input, const TemporaryDirectory& directory) {
    const std::uint8_t what = input.byte();
    const std::string record = input.text();
    const std::string part = input.text();
    if (what % 4 != 1) {
        directory.write("." + name + ".part", record.empty() ? right_record() : record);
    }
    if (what % 4 != 2) {
        directory.write(name + ".part", part);
    }
}

test::FileServer::PartialAnswer read_answer(Input& input, const http::RangeWanted& wanted) {
    constexpr std::array<unsigned, 8> statuses{206, 200, 416, 404, 503, 206, 204, 302};
    const std::uint8_t choice = input.byte();
    test::FileServer::PartialAnswer answer;
    answer.head.status = statuses.at(choice % statuses.size());
    answer.head.entity_tag = input.text();
    answer.head.content_range = input.text();
    answer.body = input.text();
    if ((choice & 0x40U) != 0) {
        answer.head.content_range = "bytes " + std::to_string(wanted.from) + "-" +
                                    std::to_string(content.size() - 1) + "/*";
        answer.head.entity_tag = tag;
    }
    if ((choice & 0x80U) != 0) {
        answer.body = content.substr(std::min<std::size_t>(wanted.from, content.size()));
    }
    answer.end = (choice & 0x20U) != 0 ? CURLE_PARTIAL_FILE : CURLE_OK;
    return answer;
}

/// What one try has been sent.
struct Sent {
    unsigned status = 0;
    std::uint64_t from = 0;
    std::string body;
};

void look_at(const DownloadOutcome& outcome, const Sent& sent, const TemporaryDirectory& files) {
    const bool has_part = files.has(name + ".part");
    const bool has_record = files.has("." + name + ".part");
    if (outcome.result != DownloadOutcome::Result::arrived) {
        require(!files.has(name), "what has not arrived has no file");
        require(outcome.result == DownloadOutcome::Result::failed || (!has_part && !has_record),
                "nothing is left of what is of no use");
        return;
    }
    require(!has_part && !has_record, "nothing is left beside what has arrived");
    const bool is_pieced = sent.from != 0 && (sent.status == 206 || sent.status == 416);
    require(files.read(name) == (is_pieced ? content : sent.body),
            "what arrived in pieces is right, and what was sent whole is what was sent");
}

bool try_once(Input& input, const TemporaryDirectory& files) {
    Sent sent;
    test::FileServer server;
    server.on_range = [&](const http::RangeWanted& wanted) {
        const auto answer = read_answer(input, wanted);
        sent = {answer.head.status, wanted.from, answer.body};
        require(wanted.from <= content.size(), "nothing beyond the file is asked for");
        return answer;
    };
    DownloadTask task;
    task.artifact = artifact();
    task.url = "https://update.example/files/" + name;
    task.path = files.path(name);
    task.resumes = true;
    const std::atomic<bool> stopped{false};
    const http::Client client{std::make_unique<test::FakeHttpClient>(server)};
    const DownloadOutcome outcome = DownloadTry{task, stopped}.run(client);
    look_at(outcome, sent, files);
    return outcome.result == DownloadOutcome::Result::arrived;
}

}  // namespace

void try_input(Input input) {
    constexpr unsigned most_tries = 4;
    const TemporaryDirectory files;
    leave_files(input, files);
    for (unsigned tries = 0; tries < most_tries && !input.is_at_end(); ++tries) {
        if (try_once(input, files)) {
            return;
        }
    }
}

}  // namespace zephran::fuzz
