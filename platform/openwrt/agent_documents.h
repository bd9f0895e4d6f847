// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include "agent/agent_control.h"

namespace zephran::platform::openwrt {

inline constexpr const char* no_pending_deployment = "no pending deployment";

/// The deployment that waits for the user.
///
/// {"action_id": …, "chunks": [{"type": …, "version": …}, …], "last_poll": …, "success": true};
/// without a pending deployment "last_poll", "message" and "success": false. The time is UTC in
/// the form 2026-11-14T17:03:11Z.
[[nodiscard]] Json::Value deployment_document(const AgentControl& agent);

/// {"agents": [{"id": …, "config": {…}}, …]}, sorted by id; null instead of an empty list.
[[nodiscard]] Json::Value agents_document(const AgentControls& agents);

}  // namespace zephran::platform::openwrt
