// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/messages/cancel_action.h"

namespace zephran::hawkbit {

void CancelActionMessage::from_json(const Json::Value& object) {
    constexpr common::JSONValueExtractor required{};

    id_ = required(object, "id", Json::stringValue).asString();
    const auto& cancel_action = required(object, "cancelAction", Json::objectValue);
    stop_id_ = required(cancel_action, "stopId", Json::stringValue).asString();
}

}  // namespace zephran::hawkbit
