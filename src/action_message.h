#pragma once

#include <istream>
#include <optional>
#include <ostream>
#include <string>

#include "common/exception.h"

namespace zephran {

/// The texts that the agent puts into its reports, and finds again in an action's history.
enum class ActionMessage {
    ChunkDeployed,
    DeploymentNotRunning,
    DeploymentRejected,
    DeploymentSuccessful,
    InstallationStarted,
    NowWaiting,
    FinishedWaiting
};

/// Number of a message that has no text: the message itself could not be printed.
using action_message_tag = boost::error_info<struct action_message_record, int>;
using action_message_string_tag =
    boost::error_info<struct action_message_string_record, std::string>;

struct UnsupportedActionMessageException : common::Exception {
    UnsupportedActionMessageException() : Exception{"Unsupported action message"} {}
};

/// @throws UnsupportedActionMessageException with action_message_tag
std::ostream& operator<<(std::ostream& stream, const ActionMessage& message);

/// Takes the whole rest of the stream as the text.
/// @throws UnsupportedActionMessageException with action_message_string_tag
std::istream& operator>>(std::istream& stream, ActionMessage& message);

/// The text of a message.
/// @throws UnsupportedActionMessageException with action_message_tag
std::string to_string(ActionMessage message);

/// The message that has exactly this text, if there is one.
std::optional<ActionMessage> find_action_message(const std::string& text);

}  // namespace zephran
