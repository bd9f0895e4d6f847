// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <istream>
#include <optional>
#include <ostream>
#include <string>

#include "common/exception.h"
#include "common/record.h"

namespace zephran {

/// The texts of the agent's reports, which it later recognises in an action's history.
enum class ActionMessage {
    ChunkDeployed,
    DeploymentNotRunning,
    DeploymentRejected,
    DeploymentSuccessful,
    InstallationStarted,
    NowWaiting,
    FinishedWaiting
};

/// The numeric value of a message that has no text.
ZEPHRAN_RECORD(action_message, int, reported_at(440));
ZEPHRAN_RECORD(action_message_string, std::string, reported_at(445));

struct UnsupportedActionMessageException : common::Exception {
    UnsupportedActionMessageException() : Exception{"Unsupported action message"} {}
};

/// @throws UnsupportedActionMessageException with action_message_tag
std::ostream& operator<<(std::ostream& stream, const ActionMessage& message);

/// Reads the rest of the stream as the text.
/// @throws UnsupportedActionMessageException with action_message_string_tag
std::istream& operator>>(std::istream& stream, ActionMessage& message);

/// The text of a message.
/// @throws UnsupportedActionMessageException with action_message_tag
std::string to_string(ActionMessage message);

/// The message that has exactly this text, if there is one.
std::optional<ActionMessage> find_action_message(const std::string& text);

}  // namespace zephran
