// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/exception.h"
#include "common/json.h"

namespace zephran::hawkbit {

struct UnsupportedExecutionStatusException : common::Exception {
    UnsupportedExecutionStatusException() : Exception{"Unsupported execution status"} {}
};
struct UnsupportedFinalResultException : common::Exception {
    UnsupportedFinalResultException() : Exception{"Unsupported final result type"} {}
};

/// What the feedback documents have in common.
class ActionFeedbackMessage : public common::JSONSerializable {
public:
    enum class ExecutionStatus { closed, proceeding, canceled, scheduled, rejected, resumed };
    enum class FinalResult { success, failure, none };

    /// The word on the wire.
    /// @throws UnsupportedExecutionStatusException
    static std::string to_string(ExecutionStatus status);
    /// @throws UnsupportedFinalResultException
    static std::string to_string(FinalResult result);
    /// @param time seconds since the epoch
    /// @returns local time such as "20240131T235959", "" when it cannot be formatted
    static std::string to_localtime_string(const long& time);
};

/// Answer to a cancel action. Details are sent unchanged; the caller has cleaned them
/// (clean_details).
struct CancelActionFeedbackMessage : ActionFeedbackMessage {
    [[nodiscard]] Json::Value to_json() const override;

    std::string id;
    ExecutionStatus execution = ExecutionStatus::closed;
    FinalResult result = FinalResult::none;
    std::vector<std::string> details;
    long time = 0;  ///< seconds since the epoch
    /// Found again by the server's search; absent from the document unless it is set.
    std::optional<int> code = std::nullopt;
};

/// Report on a deployment action.
struct DeploymentActionFeedbackMessage : ActionFeedbackMessage {
    [[nodiscard]] Json::Value to_json() const override;

    std::string id;
    ExecutionStatus execution = ExecutionStatus::proceeding;
    FinalResult result = FinalResult::none;
    std::uint32_t progress_count = 0;
    std::uint32_t progress_of = 0;
    long time = 0;  ///< seconds since the epoch
    std::vector<std::string> details;
    /// As in the answer to a cancel action.
    std::optional<int> code = std::nullopt;
};

/// The target's attributes, which replace the ones that the server holds.
struct ConfigDataFeedbackMessage : ActionFeedbackMessage {
    [[nodiscard]] Json::Value to_json() const override;

    std::map<std::string, std::string> data;
    long time = 0;  ///< seconds since the epoch
};

}  // namespace zephran::hawkbit
