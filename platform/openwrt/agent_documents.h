// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include "agent/agent_control.h"

namespace zephran::platform::openwrt {

inline constexpr const char* no_pending_deployment = "no pending deployment";

/// How much is told of each chunk of a pending deployment.
enum class ChunkDetail {
    brief,
    /// Also "name", "size": the bytes of all its artifacts, and "metadata", where there are any:
    /// [{"key": …, "value": …}, …].
    full
};

/// The deployment that waits for the user.
///
/// {"action_id": …, "chunks": [{"type": …, "version": …}, …], "last_poll": …, "success": true};
/// without a pending deployment "last_poll", "message" and "success": false. The time is UTC in
/// the form 2026-11-14T17:03:11Z.
[[nodiscard]] Json::Value deployment_document(const AgentControl& agent,
                                              ChunkDetail detail = ChunkDetail::brief);

/// What an agent is doing: {"state": …, "counters": {…}} and whatever else applies. Times are UTC
/// as above.
[[nodiscard]] Json::Value status_document(const AgentStatus& status);

/// How far the download has come: {"action_id": …, "bytes": …, "chunk": …, "chunks": …, "part": …,
/// "size": …, "speed": …}; without "speed" at its beginning.
[[nodiscard]] Json::Value progress_document(const AgentStatus& status);

/// {"agents": [{"id": …, "config": {…}}, …]}, sorted by id; null instead of an empty list.
[[nodiscard]] Json::Value agents_document(const AgentControls& agents);

}  // namespace zephran::platform::openwrt
