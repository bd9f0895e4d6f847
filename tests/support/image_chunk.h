// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "crypto/md5.h"
#include "hawkbit/messages/deployment_action.h"

namespace zephran {

inline std::string hex_md5(const std::string& content) {
    constexpr const char* digits = "0123456789abcdef";
    crypto::MD5 md5;
    md5.update(content);
    std::string hex;
    for (const std::uint8_t byte : md5.digest()) {
        hex += digits[std::size_t{byte} >> 4U];
        hex += digits[std::size_t{byte} & 0xFU];
    }
    return hex;
}

/// A chunk whose single artifact has the size and the MD5 sum of this content.
inline hawkbit::DeploymentActionMessage::Chunk make_image_chunk(
    const std::string& part, const std::string& filename, const std::string& content,
    const std::string& version = "1.0") {
    Json::Value artifact;
    artifact["filename"] = filename;
    artifact["hashes"]["md5"] = hex_md5(content);
    artifact["hashes"]["sha1"] = "da39a3ee5e6b4b0d3255bfef95601890afd80709";
    artifact["size"] = static_cast<Json::Int>(content.size());
    artifact["_links"]["download"]["href"] = "https://updates.example/" + filename;
    artifact["_links"]["md5sum"]["href"] = "https://updates.example/" + filename + ".MD5SUM";
    Json::Value object;
    object["part"] = part;
    object["name"] = "module";
    object["version"] = version;
    object["artifacts"].append(artifact);
    hawkbit::DeploymentActionMessage::Chunk chunk;
    chunk.from_json(object);
    return chunk;
}

}  // namespace zephran
