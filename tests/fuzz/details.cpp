// SPDX-License-Identifier: Apache-2.0
// The details of a report. Each begins with a byte that says how often its text is repeated: what
// has to be shortened is longer than an input can be.
#include "common/json.h"
#include "fuzz/server_rules.h"
#include "fuzz/target.h"
#include "hawkbit/detail_text.h"
#include "hawkbit/messages/feedback.h"

namespace zephran::fuzz {

namespace {

std::vector<std::string> read_details(Input& input) {
    constexpr unsigned most_copies = 64;
    std::vector<std::string> details;
    for (const std::string& coded : input.texts()) {
        const unsigned first = coded.empty() ? 0U : static_cast<unsigned char>(coded.front());
        std::string detail;
        for (unsigned copies = 1 + first % most_copies; copies > 0 && !coded.empty(); --copies) {
            detail.append(coded, 1);
        }
        details.push_back(detail);
    }
    return details;
}

std::vector<std::string> sent_and_read(const std::vector<std::string>& details) {
    hawkbit::DeploymentActionFeedbackMessage report;
    report.details = details;
    const Json::Value document =
        common::JSONDefaultParser{}(common::JSONDefaultWriter{}(report.to_json()));
    std::vector<std::string> read;
    for (const Json::Value& detail : document["status"]["details"]) {
        read.push_back(detail.asString());
    }
    return read;
}

}  // namespace

void try_input(Input input) {
    const auto details = read_details(input);
    const auto cleaned = hawkbit::clean_details(details);
    require_acceptable(cleaned);
    require(details.empty() == cleaned.empty(), "a report keeps details");
    require(hawkbit::clean_details(cleaned) == cleaned, "cleaning twice is cleaning once");
    require(sent_and_read(cleaned) == cleaned, "JSON carries the details unchanged");
    for (const std::string& detail : cleaned) {
        require(hawkbit::same_detail(detail, " " + detail + "\n"),
                "a detail is recognised when it has been stripped");
    }
}

}  // namespace zephran::fuzz
