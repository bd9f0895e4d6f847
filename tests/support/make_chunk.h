// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "hawkbit/messages/deployment_action.h"

namespace zephran {

/// A chunk as the server would send it, with artifacts of these names.
inline hawkbit::DeploymentActionMessage::Chunk make_chunk(
    const std::string& part, const std::vector<std::string>& filenames = {"artifact"},
    const std::string& name = "module", const std::string& version = "1.0") {
    Json::Value object;
    object["part"] = part;
    object["name"] = name;
    object["version"] = version;
    object["artifacts"] = Json::arrayValue;
    for (const std::string& filename : filenames) {
        Json::Value artifact;
        artifact["filename"] = filename;
        artifact["hashes"]["md5"] = "d41d8cd98f00b204e9800998ecf8427e";
        artifact["hashes"]["sha1"] = "da39a3ee5e6b4b0d3255bfef95601890afd80709";
        artifact["size"] = 0;
        artifact["_links"]["download"]["href"] = "https://updates.example/" + filename;
        artifact["_links"]["md5sum"]["href"] = "https://updates.example/" + filename + ".MD5SUM";
        object["artifacts"].append(artifact);
    }
    hawkbit::DeploymentActionMessage::Chunk chunk;
    chunk.from_json(object);
    return chunk;
}

}  // namespace zephran
