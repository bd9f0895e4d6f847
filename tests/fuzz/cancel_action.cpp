// SPDX-License-Identifier: Apache-2.0
// What the update server wants to be cancelled.
#include "hawkbit/messages/cancel_action.h"

#include "common/json.h"
#include "fuzz/target.h"
#include "hawkbit/messages/feedback.h"

namespace zephran::fuzz {

void try_input(Input input) {
    hawkbit::CancelActionMessage message;
    try {
        message.from_json(common::JSONDefaultParser{}(input.rest()));
    } catch (const common::Exception&) {
        return;
    }
    hawkbit::CancelActionFeedbackMessage answer;
    answer.id = message.stop_id();
    const Json::Value sent =
        common::JSONDefaultParser{}(common::JSONDefaultWriter{}(answer.to_json()));
    require(sent["id"].isString(), "the answer names the action");
    require(sent["status"]["execution"] == "closed", "the answer closes the cancellation");

    hawkbit::CancelActionFeedbackMessage of_itself;
    of_itself.id = message.id();
    static_cast<void>(common::JSONDefaultWriter{}(of_itself.to_json()));
}

}  // namespace zephran::fuzz
