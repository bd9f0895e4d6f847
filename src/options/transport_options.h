// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "http/transport_settings.h"

namespace zephran {

class Config;

/// Adds what the section "network" says about every transfer: its limits, the lowest version of
/// TLS, the sessions to resume, the token, the log. What is absent stays as libcurl has it.
/// @param server the update server, the only one that gets the token
void add_transport_options(Config& config, const std::string& server,
                           http::TransportSettings& settings);

/// The tenant in the addresses of the update server.
[[nodiscard]] std::string read_tenant(Config& config);

}  // namespace zephran
