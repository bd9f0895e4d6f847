// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/exception.h"
#include "common/json.h"
#include "common/record.h"
#include "common/uri.h"

namespace zephran::hawkbit {

ZEPHRAN_RECORD(sleep_time, std::string, reported_at(435));

struct InvalidSleepTimeFormatException : common::Exception {
    InvalidSleepTimeFormatException() : Exception{"Invalid sleep time format"} {}
};

/// The controller base resource of the DDI: how long to sleep, and which actions are open.
class ControllerStatusMessage : public common::JSONInitializable {
public:
    /// Replaces every field.
    /// @throws common::MissingValueException, common::UnexpectedTypeException,
    ///         common::InvalidURIFormatException
    /// @throws InvalidSleepTimeFormatException with sleep_time_tag, unless the sleep time holds
    ///         HH:MM:SS somewhere
    void from_json(const Json::Value& object) override;

    [[nodiscard]] const std::optional<common::URI>& cancel_action() const { return cancel_action_; }
    [[nodiscard]] const std::optional<common::URI>& config_data() const { return config_data_; }
    [[nodiscard]] const std::optional<common::URI>& deployment_base() const {
        return deployment_base_;
    }
    /// In seconds.
    [[nodiscard]] std::uint64_t sleep_time() const { return sleep_time_; }

private:
    std::optional<common::URI> cancel_action_;
    std::optional<common::URI> config_data_;
    std::optional<common::URI> deployment_base_;
    // Until a document has been read.
    static constexpr std::uint64_t default_sleep_time = 300;

    std::uint64_t sleep_time_ = default_sleep_time;
};

}  // namespace zephran::hawkbit
