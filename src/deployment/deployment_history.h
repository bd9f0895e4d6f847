// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "common/exception.h"
#include "common/record.h"
#include "hawkbit/messages/deployment_action.h"

namespace zephran {

ZEPHRAN_RECORD(history_message, std::string, reported_at(505));

struct UnsupportedHistoryForResumeException : common::Exception {
    UnsupportedHistoryForResumeException() : Exception{"Cannot resume from this action history"} {}
};
struct InvalidChunkStringFormatException : common::Exception {
    InvalidChunkStringFormatException() : Exception{"Failed to parse chunk string"} {}
};
struct ChunkNotFoundException : common::Exception {
    ChunkNotFoundException() : Exception{"Cannot find chunk"} {}
};

/// Finds where an interrupted deployment stood, from the history that the server keeps of an
/// action.
///
/// The newest report comes first. A real server keeps the order of the details within one report
/// only while the action has at most ten messages, and it adds notes of its own; the oldest is
/// always "Assignment initiated by ...".
namespace deployment_history {

using ActionHistory = hawkbit::DeploymentActionMessage::ActionHistory;
using Chunk = hawkbit::DeploymentActionMessage::Chunk;

/// True if at least one message is a text that this agent reports. Otherwise the action has not
/// been worked on yet.
bool holds_own_report(const ActionHistory& history);

/// True if the newest report is the start of an installation.
bool ends_with_installation_started(const ActionHistory& history, const std::vector<Chunk>& chunks);

/// True if the newest message is not one of the agent's texts but an older one is.
bool has_unknown_message_on_top(const ActionHistory& history);

/// The chunk string of the newest report, which must be that of an installation's start.
/// @throws UnsupportedHistoryForResumeException
std::string interrupted_chunk_string(const ActionHistory& history);

/// The chunk that a chunk string from a history names, and all chunks after it.
/// @throws InvalidChunkStringFormatException, ChunkNotFoundException, with history_message_tag
std::vector<Chunk> remaining_chunks(const std::vector<Chunk>& chunks, const std::string& text);

}  // namespace deployment_history
}  // namespace zephran
