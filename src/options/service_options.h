// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "ghn/config_layer_command.h"

namespace zephran {

class Config;

/// What the installers do differently when the section "service" says so.
struct InstallationOptions {
    ghn::ConfigLayerQuoting quoting = ghn::ConfigLayerQuoting::none;
    /// The label that a flash partition must have before it is erased for a boot loader.
    std::optional<std::string> bootloader_label;
};

/// The order of chunks whose part types have one priority.
enum class ChunkOrder {
    server,  ///< as the server lists them
    name,
};

/// What the ids of adapters at the update server are made of.
enum class AdapterIds {
    serial,    ///< the serial number, or the address where there is none
    prefixed,  ///< the same after the gateway's id and a dash
};

/// What the search for adapters does differently.
struct DiscoveryOptions {
    AdapterIds ids = AdapterIds::serial;
    /// Whether a failed pass ends the daemon. Otherwise the next pass follows as after any other.
    bool failure_is_fatal = true;
    ghn::ConfigLayerQuoting quoting = ghn::ConfigLayerQuoting::none;
};

/// What agents and their installations do differently.
struct AgentOptions {
    ChunkOrder chunk_order = ChunkOrder::server;
    /// Whether guards log every answer. Otherwise they leave out one that equals their last one.
    bool log_repeats = true;
    InstallationOptions installation;
};

/// The options of the section "service" that change how the daemon carries out its work. Without
/// any of them each has the value that it is made with.
struct ServiceOptions {
    AgentOptions agent;
    DiscoveryOptions discovery;
};

[[nodiscard]] ServiceOptions read_service_options(Config& config);

}  // namespace zephran
