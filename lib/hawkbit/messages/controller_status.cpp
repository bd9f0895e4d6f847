// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/messages/controller_status.h"

#include <regex.h>

#include "common/regex.h"

namespace zephran::hawkbit {
namespace {

ZEPHRAN_REPORTED(sleep_time);

constexpr common::JSONValueExtractor required{};
constexpr common::JSONOptionalValueExtractor optional{};

std::uint64_t parse_sleep_time(const std::string& text) {
    constexpr std::uint64_t seconds_per_hour = 3600;
    constexpr std::uint64_t seconds_per_minute = 60;
    constexpr std::size_t whole_match_and_groups = 4;

    common::Regex pattern{"([0-9]{2}):([0-9]{2}):([0-9]{2})", REG_EXTENDED};
    pattern.match(text, 0);
    const auto results = pattern.get_results();
    if (results.size() != whole_match_and_groups) {
        ZEPHRAN_THROW(InvalidSleepTimeFormatException{} << sleep_time_tag{text});
    }
    return std::stoul(results[1]) * seconds_per_hour + std::stoul(results[2]) * seconds_per_minute +
           std::stoul(results[3]);
}

std::optional<common::URI> read_link(const Json::Value& links, const std::string& name) {
    const auto link = optional(links, name, Json::objectValue);
    if (!link) {
        return std::nullopt;
    }
    return common::URI{required(*link, "href", Json::stringValue).asString()};
}

}  // namespace

void ControllerStatusMessage::from_json(const Json::Value& object) {
    *this = ControllerStatusMessage{};

    const auto& config = required(object, "config", Json::objectValue);
    const auto& polling = required(config, "polling", Json::objectValue);
    sleep_time_ = parse_sleep_time(required(polling, "sleep", Json::stringValue).asString());

    if (const auto links = optional(object, "_links", Json::objectValue)) {
        cancel_action_ = read_link(*links, "cancelAction");
        deployment_base_ = read_link(*links, "deploymentBase");
        config_data_ = read_link(*links, "configData");
    }
}

}  // namespace zephran::hawkbit
