// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/messages/deployment_action.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <numeric>
#include <tuple>
#include <utility>

#include "common/exception.h"

namespace zephran::hawkbit {
namespace {

constexpr common::JSONValueExtractor required{};
constexpr common::JSONOptionalValueExtractor optional{};

constexpr std::array<std::pair<const char*, ActionStatus>, 10> status_words{{
    {"CANCELED", ActionStatus::CANCELED},
    {"CANCELING", ActionStatus::CANCELING},
    {"CANCEL_REJECTED", ActionStatus::CANCEL_REJECTED},
    {"DOWNLOAD", ActionStatus::DOWNLOAD},
    {"ERROR", ActionStatus::ERROR},
    {"FINISHED", ActionStatus::FINISHED},
    {"RETRIEVED", ActionStatus::RETRIEVED},
    {"RUNNING", ActionStatus::RUNNING},
    {"SCHEDULED", ActionStatus::SCHEDULED},
    {"WARNING", ActionStatus::WARNING},
}};

std::string read_text(const Json::Value& object, const std::string& key) {
    return required(object, key, Json::stringValue).asString();
}

void require_type(const Json::Value& value, const std::string& key, Json::ValueType type) {
    if (value.type() != type) {
        ZEPHRAN_THROW(common::UnexpectedTypeException{} << common::value_tag{key}
                                                        << common::found_type_tag{value.type()}
                                                        << common::expected_type_tag{type});
    }
}

/// Reads the array `key`, whose elements are objects; null is one without members.
template <class Message>
std::vector<Message> read_list(const Json::Value& object, const std::string& key,
                               Digest preferred) {
    const auto& array = required(object, key, Json::arrayValue);
    std::vector<Message> messages;
    messages.reserve(array.size());
    for (const auto& element : array) {
        if (!element.isNull()) {
            require_type(element, key, Json::objectValue);
        }
        messages.emplace_back();
        messages.back().from_json(element, preferred);
    }
    return messages;
}

/// jsoncpp keeps up to 64 bits in its intValue; a size is handled in 32.
std::int32_t read_size(const Json::Value& object) {
    const auto& size = required(object, "size", Json::intValue);
    if (!size.isInt()) {
        // What jsoncpp calls a number that its integers do not hold, had they 32 bits.
        const auto found = size.isUInt() ? Json::uintValue : Json::realValue;
        ZEPHRAN_THROW(common::UnexpectedTypeException{}
                      << common::value_tag{"size"} << common::found_type_tag{found}
                      << common::expected_type_tag{Json::intValue});
    }
    return size.asInt();
}

/// Reads two links of which at least one must be there.
std::pair<common::URI, common::URI> read_link_pair(const Json::Value& links,
                                                   const std::string& first_name,
                                                   const std::string& second_name) {
    std::pair<common::URI, common::URI> uris;
    const auto first = optional(links, first_name, Json::objectValue);
    if (first) {
        uris.first = common::URI{read_text(*first, "href")};
    }
    const auto second = optional(links, second_name, Json::objectValue);
    if (!first && !second) {
        ZEPHRAN_THROW(common::MissingValueException{}
                      << common::value_tag{first_name + " or " + second_name});
    }
    if (second) {
        uris.second = common::URI{read_text(*second, "href")};
    }
    return uris;
}

/// "" when the server states none.
std::string read_sha256(const Json::Value& hashes, Digest preferred) {
    const auto stated = preferred == Digest::sha256 ? optional(hashes, "sha256", Json::stringValue)
                                                    : boost::optional<const Json::Value&>{};
    return stated ? stated->asString() : std::string{};
}

bool read_forced(const std::string& update) {
    if (update == "forced") {
        return true;
    }
    if (update == "attempt") {
        return false;
    }
    ZEPHRAN_THROW(InvalidUpdateTypeException{} << common::value_tag{update});
}

std::vector<DeploymentActionMessage::Chunk::Note> read_notes(const Json::Value& metadata) {
    if (!metadata.isArray()) {
        return {};
    }
    std::vector<DeploymentActionMessage::Chunk::Note> notes;
    for (const auto& pair : metadata) {
        if (pair.isObject() && pair["key"].isString() && pair["value"].isString()) {
            notes.push_back({pair["key"].asString(), pair["value"].asString()});
        }
    }
    return notes;
}

// Metadata that are no list count as one entry.
std::size_t count_entries(const Json::Value& metadata) {
    if (metadata.isArray()) {
        return metadata.size();
    }
    return metadata.isNull() ? 0 : 1;
}

}  // namespace

std::vector<std::uint8_t> DeploymentActionMessage::Artifact::hash_from_string(
    const std::string& hex) {
    constexpr std::size_t digits_per_byte = 2;
    constexpr int base = 16;

    std::vector<std::uint8_t> bytes(hex.size() / digits_per_byte);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto pair = hex.substr(i * digits_per_byte, digits_per_byte);
        bytes[i] = static_cast<std::uint8_t>(std::strtoul(pair.c_str(), nullptr, base));
    }
    return bytes;
}

void DeploymentActionMessage::Artifact::from_json(const Json::Value& object, Digest preferred) {
    filename_ = read_text(object, "filename");
    const auto& hashes = required(object, "hashes", Json::objectValue);
    sha256_ = hash_from_string(read_sha256(hashes, preferred));
    const bool is_md5_needed = sha256_.empty();
    if (is_md5_needed) {
        md5_ = hash_from_string(read_text(hashes, "md5"));
    }
    sha1_ = hash_from_string(read_text(hashes, "sha1"));
    size_ = read_size(object);
    const auto& links = required(object, "_links", Json::objectValue);
    std::tie(download_, download_http_) = read_link_pair(links, "download", "download-http");
    if (is_md5_needed) {
        std::tie(md5sum_, md5sum_http_) = read_link_pair(links, "md5sum", "md5sum-http");
    }
}

void DeploymentActionMessage::Chunk::from_json(const Json::Value& object, Digest preferred) {
    part_ = read_text(object, "part");
    version_ = read_text(object, "version");
    name_ = read_text(object, "name");
    artifacts_ = read_list<Artifact>(object, "artifacts", preferred);
    notes_ = read_notes(object["metadata"]);
    notes_left_out_ = count_entries(object["metadata"]) - notes_.size();
}

// A note that is too long is left out as a whole: half a sentence may say the opposite.
void DeploymentActionMessage::Chunk::bound_notes(NoteBudget& budget) {
    const auto is_too_much = [&budget](const Note& note) {
        const std::size_t bytes = note.key.size() + note.value.size();
        if (budget.notes == 0 || bytes > budget.bytes) {
            return true;
        }
        budget.bytes -= bytes;
        --budget.notes;
        return false;
    };
    const std::size_t before = notes_.size();
    notes_.erase(std::remove_if(notes_.begin(), notes_.end(), is_too_much), notes_.end());
    notes_left_out_ += before - notes_.size();
}

void DeploymentActionMessage::ActionHistory::from_json(const Json::Value& object) {
    const auto word = read_text(object, "status");
    const auto* const known = std::find_if(status_words.begin(), status_words.end(),
                                           [&](const auto& entry) { return word == entry.first; });
    if (known == status_words.end()) {
        ZEPHRAN_THROW(InvalidActionStatusException{} << common::value_tag{word});
    }
    status_ = known->second;

    const auto& messages_array = required(object, "messages", Json::arrayValue);
    messages_.clear();
    for (const auto& element : messages_array) {
        if (!element.isNull()) {
            require_type(element, "messages", Json::stringValue);
        }
        messages_.push_back(element.asString());
    }
}

void DeploymentActionMessage::from_json(const Json::Value& object, Digest preferred) {
    *this = DeploymentActionMessage{};

    id_ = read_text(object, "id");
    const auto& deployment = required(object, "deployment", Json::objectValue);
    download_ = read_text(deployment, "download");
    forced_ = read_forced(read_text(deployment, "update"));
    chunks_ = read_list<Chunk>(deployment, "chunks", preferred);
    Chunk::NoteBudget budget;
    for (auto& chunk : chunks_) {
        chunk.bound_notes(budget);
    }
    if (const auto action_history_object = optional(object, "actionHistory", Json::objectValue)) {
        action_history_.from_json(*action_history_object);
    }
}

std::size_t DeploymentActionMessage::notes_left_out() const {
    return std::accumulate(
        chunks_.begin(), chunks_.end(), std::size_t{0},
        [](std::size_t sum, const Chunk& chunk) { return sum + chunk.notes_left_out(); });
}

std::string chunk_string(const DeploymentActionMessage::Chunk& chunk) {
    return chunk.part() + ":" + chunk.name() + ":" + chunk.version();
}

}  // namespace zephran::hawkbit
