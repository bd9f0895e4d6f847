// SPDX-License-Identifier: Apache-2.0
#include "deployment/resume_record.h"

#include <algorithm>

#include "common/exception.h"
#include "common/json.h"

namespace zephran {

namespace {

constexpr int version = 1;
constexpr common::JSONValueExtractor required{};

std::string read_text(const Json::Value& document, const std::string& key) {
    return required(document, key, Json::stringValue).asString();
}

ResumeRecord read(const Json::Value& document) {
    ResumeRecord record;
    record.address = read_text(document, "address");
    record.digest = read_text(document, "digest");
    record.entity_tag = read_text(document, "etag");
    const auto& size = required(document, "size", Json::intValue);
    record.size = size.isUInt64() ? size.asUInt64() : 0;
    return record;
}

}  // namespace

std::string ResumeRecord::to_text() const {
    Json::Value document;
    document["version"] = version;
    document["address"] = address;
    document["size"] = static_cast<Json::Int64>(size);
    document["digest"] = digest;
    document["etag"] = entity_tag;
    return common::JSONDefaultWriter{}(document);
}

std::optional<ResumeRecord> ResumeRecord::from_text(const std::string& text) {
    try {
        const Json::Value document = common::JSONDefaultParser{}(text);
        const auto& written_by = required(document, "version", Json::intValue);
        if (!written_by.isInt() || written_by.asInt() != version) {
            return std::nullopt;
        }
        const ResumeRecord record = read(document);
        return is_strong_tag(record.entity_tag) ? std::make_optional(record) : std::nullopt;
    } catch (const common::Exception&) {
        // Cut off or another's; the caller says so and begins anew.
        return std::nullopt;
    }
}

bool ResumeRecord::is_about_same_file(const ResumeRecord& other) const {
    return address == other.address && size == other.size && digest == other.digest;
}

bool is_strong_tag(const std::string& entity_tag) {
    const bool is_weak = entity_tag.compare(0, 2, "W/") == 0;
    return !entity_tag.empty() && !is_weak &&
           std::all_of(entity_tag.begin(), entity_tag.end(),
                       [](char character) { return character > ' ' && character < '\x7f'; });
}

}  // namespace zephran
