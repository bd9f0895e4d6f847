// SPDX-License-Identifier: Apache-2.0
#include "openwrt/agent_documents.h"

#include <array>
#include <ctime>

namespace zephran::platform::openwrt {

namespace {

std::string utc_text(AgentControl::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, sizeof "2147483647-12-31T23:59:59Z"> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%FT%TZ", &utc)};
}

Json::Value chunk_documents(const hawkbit::DeploymentActionMessage& action) {
    Json::Value documents{Json::arrayValue};
    for (const auto& chunk : action.chunks()) {
        Json::Value document;
        document["version"] = chunk.version();
        document["type"] = chunk.part();
        documents.append(document);
    }
    return documents;
}

}  // namespace

Json::Value deployment_document(const AgentControl& agent) {
    const auto pending = agent.pending_deployment();
    Json::Value document;
    document["last_poll"] = utc_text(agent.last_poll());
    document["success"] = pending != nullptr;
    if (pending == nullptr) {
        document["message"] = no_pending_deployment;
        return document;
    }
    document["chunks"] = chunk_documents(*pending);
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
