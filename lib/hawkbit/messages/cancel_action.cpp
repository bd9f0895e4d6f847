#include "hawkbit/messages/cancel_action.h"

namespace zephran::hawkbit {

void CancelActionMessage::from_json(const Json::Value& object) {
    constexpr common::JSONValueExtractor required{};

    action_id = required(object, "id", Json::stringValue).asString();
    const auto& cancel_action = required(object, "cancelAction", Json::objectValue);
    stopped_action_id = required(cancel_action, "stopId", Json::stringValue).asString();
}

}  // namespace zephran::hawkbit
