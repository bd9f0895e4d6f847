// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/messages/feedback.h"

#include <array>
#include <ctime>

#include "common/exception.h"

namespace zephran::hawkbit {
namespace {

Json::Value to_array(const std::vector<std::string>& texts) {
    Json::Value array{Json::arrayValue};
    for (const auto& text : texts) {
        array.append(text);
    }
    return array;
}

void add_code(Json::Value& status, const std::optional<int>& code) {
    if (code) {
        status["code"] = *code;
    }
}

}  // namespace

std::string ActionFeedbackMessage::to_string(ExecutionStatus status) {
    switch (status) {
        case ExecutionStatus::closed:
            return "closed";
        case ExecutionStatus::proceeding:
            return "proceeding";
        case ExecutionStatus::canceled:
            return "canceled";
        case ExecutionStatus::scheduled:
            return "scheduled";
        case ExecutionStatus::rejected:
            return "rejected";
        case ExecutionStatus::resumed:
            return "resumed";
    }
    ZEPHRAN_THROW(UnsupportedExecutionStatusException{});
}

std::string ActionFeedbackMessage::to_string(FinalResult result) {
    switch (result) {
        case FinalResult::success:
            return "success";
        case FinalResult::failure:
            return "failure";
        case FinalResult::none:
            return "none";
    }
    ZEPHRAN_THROW(UnsupportedFinalResultException{});
}

std::string ActionFeedbackMessage::to_localtime_string(const long& time) {
    constexpr std::size_t buffer_size = 20;

    const auto seconds = static_cast<std::time_t>(time);
    std::tm broken_down{};
    // Unlike localtime(), localtime_r() need not notice a time zone that was changed meanwhile.
    tzset();
    if (localtime_r(&seconds, &broken_down) == nullptr) {
        return "";
    }
    std::array<char, buffer_size> buffer{};
    const auto length = std::strftime(buffer.data(), buffer.size(), "%Y%m%dT%H%M%S", &broken_down);
    return {buffer.data(), length};
}

Json::Value CancelActionFeedbackMessage::to_json() const {
    Json::Value json{Json::objectValue};
    json["id"] = id;
    json["time"] = to_localtime_string(time);
    auto& status = json["status"];
    status["result"]["finished"] = to_string(result);
    status["execution"] = to_string(execution);
    status["details"] = to_array(details);
    add_code(status, code);
    return json;
}

Json::Value DeploymentActionFeedbackMessage::to_json() const {
    Json::Value json{Json::objectValue};
    json["id"] = id;
    json["time"] = to_localtime_string(time);
    auto& status = json["status"];
    status["result"]["finished"] = to_string(result);
    status["result"]["progress"]["count"] = Json::Value::UInt{progress_count};
    status["result"]["progress"]["of"] = Json::Value::UInt{progress_of};
    status["execution"] = to_string(execution);
    status["details"] = to_array(details);
    add_code(status, code);
    return json;
}

Json::Value ConfigDataFeedbackMessage::to_json() const {
    Json::Value json{Json::objectValue};
    json["id"] = "";
    json["mode"] = "replace";
    json["time"] = to_localtime_string(time);
    auto& status = json["status"];
    status["result"]["finished"] = to_string(FinalResult::success);
    status["execution"] = to_string(ExecutionStatus::closed);
    status["details"] = Json::Value{Json::arrayValue};
    json["data"] = Json::Value{Json::objectValue};
    for (const auto& [key, value] : data) {
        json["data"][key] = value;
    }
    return json;
}

}  // namespace zephran::hawkbit
