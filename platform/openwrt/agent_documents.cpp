// SPDX-License-Identifier: Apache-2.0
#include "openwrt/agent_documents.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <optional>

namespace zephran::platform::openwrt {

namespace {

std::string utc_text(AgentStatus::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, sizeof "2147483647-12-31T23:59:59Z"> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%FT%TZ", &utc)};
}

Json::UInt64 number(std::uint64_t value) {
    return value;
}

// A size has 32 bits, and the sum of several may need more. The server's word may be negative.
Json::UInt64 size_of(const hawkbit::DeploymentActionMessage::Chunk& chunk) {
    std::uint64_t sum = 0;
    for (const auto& artifact : chunk.artifacts()) {
        sum += static_cast<std::uint64_t>(std::max(artifact.size(), 0));
    }
    return number(sum);
}

void add_notes(Json::Value& document, const hawkbit::DeploymentActionMessage::Chunk& chunk) {
    for (const auto& note : chunk.notes()) {
        Json::Value& entry = document["metadata"].append({});
        entry["key"] = note.key;
        entry["value"] = note.value;
    }
}

Json::Value chunk_documents(const hawkbit::DeploymentActionMessage& action, ChunkDetail detail) {
    Json::Value documents{Json::arrayValue};
    for (const auto& chunk : action.chunks()) {
        Json::Value document;
        document["version"] = chunk.version();
        document["type"] = chunk.part();
        if (detail == ChunkDetail::full) {
            document["name"] = chunk.name();
            document["size"] = size_of(chunk);
            add_notes(document, chunk);
        }
        documents.append(document);
    }
    return documents;
}

void add_time(Json::Value& document, const char* name,
              const std::optional<AgentStatus::time_point>& time) {
    if (time) {
        document[name] = utc_text(*time);
    }
}

void add_deployment(Json::Value& document, const AgentStatus& status) {
    if (status.action_id.empty()) {
        return;
    }
    document["action_id"] = status.action_id;
    document["chunks"] = status.chunks;
    if (status.chunk != 0) {
        document["chunk"] = status.chunk;
        document["part"] = status.part;
        document["version"] = status.version;
    }
}

void add_download(Json::Value& document, const AgentStatus::Download& download) {
    document["size"] = number(download.size);
    if (!download.bytes) {
        return;
    }
    document["bytes"] = number(*download.bytes);
    document["attempt"] = download.attempt;
    if (download.speed) {
        document["speed"] = number(*download.speed);
    }
}

void add_past(Json::Value& document, const AgentStatus& status) {
    if (const auto& error = status.last_error) {
        Json::Value& entry = document["last_error"];
        add_time(entry, "time", error->time);
        entry["text"] = error->text;
        entry["status"] = error->code;
    }
    if (const auto& result = status.last_result) {
        Json::Value& entry = document["last_result"];
        entry["action_id"] = result->action_id;
        entry["result"] = to_string(result->outcome);
        add_time(entry, "time", result->time);
    }
    Json::Value& counters = document["counters"];
    counters["polls"] = status.counters.polls;
    counters["failed_polls"] = status.counters.failed_polls;
    counters["deployments"] = status.counters.deployments;
    counters["bytes"] = number(status.counters.bytes);
}

}  // namespace

Json::Value status_document(const AgentStatus& status) {
    Json::Value document;
    document["state"] = to_string(status.state);
    add_deployment(document, status);
    if (status.download) {
        add_download(document, *status.download);
    }
    add_time(document, "next_poll", status.next_poll);
    add_time(document, "backoff_until", status.backoff_until);
    add_time(document, "delay_until", status.delay_until);
    add_past(document, status);
    return document;
}

Json::Value progress_document(const AgentStatus& status) {
    Json::Value document;
    add_deployment(document, status);
    document.removeMember("version");
    if (status.download) {
        add_download(document, *status.download);
        document.removeMember("attempt");
    }
    return document;
}

Json::Value deployment_document(const AgentControl& agent, ChunkDetail detail) {
    const auto pending = agent.pending_deployment();
    Json::Value document;
    document["last_poll"] = utc_text(agent.last_poll());
    document["success"] = pending != nullptr;
    if (pending == nullptr) {
        document["message"] = no_pending_deployment;
        return document;
    }
    document["chunks"] = chunk_documents(*pending, detail);
    document["action_id"] = pending->id();
    return document;
}

Json::Value agents_document(const AgentControls& agents) {
    Json::Value list;
    for (const auto& [id, agent] : agents) {
        Json::Value entry;
        entry["id"] = id;
        entry["config"] = Json::Value{Json::objectValue};
        for (const auto& [name, value] : *agent->attributes()) {
            entry["config"][name] = value;
        }
        list.append(entry);
    }
    Json::Value document;
    document["agents"] = list;
    return document;
}

}  // namespace zephran::platform::openwrt
