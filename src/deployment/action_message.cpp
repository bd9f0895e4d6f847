// SPDX-License-Identifier: Apache-2.0
#include "deployment/action_message.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/exception.h"

namespace zephran {
namespace {

ZEPHRAN_REPORTED(action_message);
ZEPHRAN_REPORTED(action_message_string);

constexpr std::array<std::pair<ActionMessage, const char*>, 7> texts{{
    {ActionMessage::ChunkDeployed, "Chunk deployed"},
    {ActionMessage::DeploymentNotRunning, "Deployment not running. Nothing to do."},
    {ActionMessage::DeploymentRejected, "Deployment rejected through user intervention"},
    {ActionMessage::DeploymentSuccessful, "Deployment successful"},
    {ActionMessage::InstallationStarted, "Installation started"},
    {ActionMessage::NowWaiting, "Now waiting"},
    {ActionMessage::FinishedWaiting, "Finished waiting"},
}};

}  // namespace

std::ostream& operator<<(std::ostream& stream, const ActionMessage& message) {
    return stream << to_string(message);
}

std::istream& operator>>(std::istream& stream, ActionMessage& message) {
    std::string text;
    std::getline(stream, text, '\0');
    const auto found = find_action_message(text);
    if (!found) {
        ZEPHRAN_THROW(UnsupportedActionMessageException{} << action_message_string_tag{text});
    }
    message = *found;
    return stream;
}

std::string to_string(ActionMessage message) {
    for (const auto& [value, text] : texts) {
        if (value == message) {
            return text;
        }
    }
    ZEPHRAN_THROW(UnsupportedActionMessageException{}
                  << action_message_tag{static_cast<int>(message)});
}

std::optional<ActionMessage> find_action_message(const std::string& text) {
    const auto* const found = std::find_if(texts.begin(), texts.end(),
                                           [&](const auto& entry) { return text == entry.second; });
    if (found == texts.end()) {
        return std::nullopt;
    }
    return found->first;
}

}  // namespace zephran
