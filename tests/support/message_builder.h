// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "common/json.h"
#include "crypto/md5.h"
#include "crypto/sha256.h"
#include "hawkbit/messages/deployment_action.h"

namespace zephran::test {

/// Fills a message from JSON text as it stands on the wire.
template <class Message>
Message message_from(const std::string& json) {
    Message message;
    message.from_json(common::JSONDefaultParser{}(json));
    return message;
}

/// One file of a software module. It can be had at secure_link(filename) and plain_link(filename).
struct ArtifactText {
    std::string filename;
    std::string content = "content of " + filename;
    /// What the announced MD5 sum is taken of.
    std::string announced_content = content;
    bool has_secure_link = true;
    bool has_plain_link = false;
    /// Stands in the place of the secure link, if set.
    std::string foreign_link = {};

    static std::string secure_link(const std::string& filename) {
        return "https://update.example/files/" + filename;
    }
    static std::string plain_link(const std::string& filename) {
        return "http://update.example/files/" + filename;
    }
};

struct ChunkText {
    std::string part;
    std::string name;
    std::string version;
    std::vector<ArtifactText> artifacts = {};
    /// Keys and values of its metadata; without any there is no such member.
    std::vector<std::pair<std::string, std::string>> metadata = {};
};

/// A deployment action, written down in the words of the server.
struct DeploymentText {
    std::string id = "7";
    std::vector<ChunkText> chunks;
    std::string update = "forced";
    /// Messages of the history, the newest first; without any there is no history.
    std::vector<std::string> history = {};
    /// With Digest::sha256 nothing else is stated, and it is preferred.
    hawkbit::Digest digest = hawkbit::Digest::md5;
};

namespace message_builder_detail {

template <class Hash>
std::string hex_sum(const std::string& content) {
    constexpr const char* digits = "0123456789abcdef";
    Hash hash;
    hash.update(content);
    std::string hex;
    for (const unsigned byte : hash.digest()) {
        hex += digits[byte >> 4U];
        hex += digits[byte & 0xFU];
    }
    return hex;
}

inline Json::Value artifact_document(const ArtifactText& artifact, hawkbit::Digest digest) {
    Json::Value document;
    document["filename"] = artifact.filename;
    document["size"] = static_cast<Json::Int>(artifact.content.size());
    const bool by_sha256 = digest == hawkbit::Digest::sha256;
    document["hashes"][by_sha256 ? "sha256" : "md5"] =
        by_sha256 ? hex_sum<crypto::SHA256>(artifact.announced_content)
                  : hex_sum<crypto::MD5>(artifact.announced_content);
    document["hashes"]["sha1"] = "00";
    Json::Value& links = document["_links"];
    if (!artifact.foreign_link.empty()) {
        links["download"]["href"] = artifact.foreign_link;
    } else if (artifact.has_secure_link) {
        links["download"]["href"] = ArtifactText::secure_link(artifact.filename);
    }
    if (artifact.has_plain_link) {
        links["download-http"]["href"] = ArtifactText::plain_link(artifact.filename);
    }
    if (!by_sha256) {
        links["md5sum"]["href"] = ArtifactText::secure_link(artifact.filename) + ".MD5SUM";
    }
    return document;
}

inline Json::Value chunk_document(const ChunkText& chunk, hawkbit::Digest digest) {
    Json::Value document;
    document["part"] = chunk.part;
    document["name"] = chunk.name;
    document["version"] = chunk.version;
    document["artifacts"] = Json::arrayValue;
    for (const ArtifactText& artifact : chunk.artifacts) {
        document["artifacts"].append(artifact_document(artifact, digest));
    }
    for (const auto& [key, value] : chunk.metadata) {
        Json::Value& entry = document["metadata"].append({});
        entry["key"] = key;
        entry["value"] = value;
    }
    return document;
}

}  // namespace message_builder_detail

inline hawkbit::DeploymentActionMessage deployment_from(const DeploymentText& text) {
    Json::Value document;
    document["id"] = text.id;
    Json::Value& deployment = document["deployment"];
    deployment["download"] = text.update;
    deployment["update"] = text.update;
    deployment["chunks"] = Json::arrayValue;
    for (const ChunkText& chunk : text.chunks) {
        deployment["chunks"].append(message_builder_detail::chunk_document(chunk, text.digest));
    }
    if (!text.history.empty()) {
        document["actionHistory"]["status"] = "RUNNING";
        for (const std::string& message : text.history) {
            document["actionHistory"]["messages"].append(message);
        }
    }
    hawkbit::DeploymentActionMessage message;
    message.from_json(document, text.digest);
    return message;
}

}  // namespace zephran::test
