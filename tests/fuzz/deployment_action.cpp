// SPDX-License-Identifier: Apache-2.0
// A deployment with its history.
#include <algorithm>

#include "common/json.h"
#include "deployment/artifact_files.h"
#include "deployment/deployment_history.h"
#include "fuzz/server_rules.h"
#include "fuzz/target.h"
#include "hawkbit/artifact_name.h"
#include "hawkbit/detail_text.h"
#include "installer/error_record.h"

namespace zephran::fuzz {

namespace {

using hawkbit::DeploymentActionMessage;

void require_reportable(const common::Exception& error) {
    ErrorRecord record;
    record.keep_first(error);
    require_acceptable(hawkbit::clean_details({record.error_message, record.error_details}));
}

void look_at_name(const std::string& name) {
    if (!hawkbit::is_safe_artifact_name(name)) {
        return;
    }
    require(!name.empty() && name.front() != '.' && name.front() != '-',
            "a safe name is no other directory and no option");
    require(name.find('/') == std::string::npos && name.find('\0') == std::string::npos,
            "a safe name has neither a slash nor a NUL");
}

void look_at_link(const DeploymentActionMessage::Artifact& artifact) {
    try {
        const std::string url = artifact_files::download_url(artifact);
        require(url.compare(0, 8, "https://") == 0 || url.compare(0, 7, "http://") == 0,
                "an artifact comes by http or https");
    } catch (const common::Exception& error) {
        require_reportable(error);
    }
}

void look_at_chunks(const std::vector<DeploymentActionMessage::Chunk>& chunks) {
    for (const auto& chunk : chunks) {
        const std::string text = hawkbit::chunk_string(chunk);
        const std::string reported = hawkbit::clean_details({text}).front();
        require(hawkbit::same_detail(text, reported), "a chunk string equals itself");
        const auto left = deployment_history::remaining_chunks(chunks, reported);
        require(hawkbit::same_detail(hawkbit::chunk_string(left.front()), reported),
                "a reported chunk is found again");
        for (const auto& artifact : chunk.artifacts()) {
            look_at_name(artifact.filename());
            look_at_link(artifact);
        }
    }
}

void look_at_history(const DeploymentActionMessage& message) {
    const auto& history = message.action_history();
    static_cast<void>(deployment_history::has_unknown_message_on_top(history));
    try {
        const bool is_interrupted =
            deployment_history::ends_with_installation_started(history, message.chunks());
        const std::string chunk = deployment_history::interrupted_chunk_string(history);
        const auto left = deployment_history::remaining_chunks(message.chunks(), chunk);
        require(is_interrupted, "what can be gone on with was interrupted");
        require(!left.empty() && left.size() <= message.chunks().size(), "a chunk is left");
    } catch (const common::Exception& error) {
        require_reportable(error);
    }
}

}  // namespace

void try_input(Input input) {
    const std::string text = input.rest();
    // Half of the inputs are read in one way, half in the other: it takes most of the time.
    const auto digest = text.size() % 2 == 0 ? hawkbit::Digest::md5 : hawkbit::Digest::sha256;
    DeploymentActionMessage message;
    try {
        message.from_json(common::JSONDefaultParser{}(text), digest);
    } catch (const common::Exception& error) {
        require_reportable(error);
        return;
    }
    look_at_chunks(message.chunks());
    look_at_history(message);
}

}  // namespace zephran::fuzz
