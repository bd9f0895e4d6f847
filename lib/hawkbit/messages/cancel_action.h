// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "common/json.h"

namespace zephran::hawkbit {

/// The cancelAction resource of the DDI. A real server uses one id for both.
class CancelActionMessage : public common::JSONInitializable {
public:
    /// @throws common::MissingValueException, common::UnexpectedTypeException
    void from_json(const Json::Value& object) override;

    /// Id of the cancel action itself, as received.
    [[nodiscard]] const std::string& id() const { return id_; }
    /// Id of the action to stop, as received.
    [[nodiscard]] const std::string& stop_id() const { return stop_id_; }

private:
    std::string id_;
    std::string stop_id_;
};

}  // namespace zephran::hawkbit
