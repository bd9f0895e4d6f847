// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "json_errors.h"

namespace zephran::hawkbit {

inline Json::Value artifact_document() {
    return parse(R"({
        "filename": "fw.bin",
        "hashes": {"sha1": "2d86", "md5": "0d1b08", "sha256": "a0"},
        "size": 3,
        "_links": {"download": {"href": "https://h/fw.bin"},
                   "download-http": {"href": "http://h/fw.bin"},
                   "md5sum": {"href": "https://h/fw.bin.MD5SUM"},
                   "md5sum-http": {"href": "http://h/fw.bin.MD5SUM"}}})");
}

inline Json::Value chunk_document() {
    auto chunk = parse(R"({"part": "os", "version": "2.1", "name": "firmware", "artifacts": []})");
    chunk["artifacts"].append(artifact_document());
    return chunk;
}

inline Json::Value deployment_document() {
    auto document = parse(R"({
        "id": "3",
        "deployment": {"download": "forced", "update": "forced", "chunks": []},
        "actionHistory": {"status": "RETRIEVED", "messages": ["newest", "oldest"]}})");
    document["deployment"]["chunks"].append(chunk_document());
    return document;
}

template <class Type>
Type read(const Json::Value& document) {
    Type message;
    message.from_json(document);
    return message;
}

/// A document without one of its members.
inline Json::Value without(Json::Value document, const std::string& key) {
    document.removeMember(key);
    return document;
}

/// A document with another value for one of its members.
inline Json::Value with(Json::Value document, const std::string& key, const Json::Value& value) {
    document[key] = value;
    return document;
}

}  // namespace zephran::hawkbit
