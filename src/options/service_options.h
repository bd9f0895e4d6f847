// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "ghn/config_layer_command.h"

namespace zephran {

class Config;

/// The longest time that a tool may take; none without a value.
using ToolLimit = std::optional<std::chrono::milliseconds>;

/// When the tool that writes firmware has handed over to a process that reboots the device.
enum class UpgradeHandover {
    exit10,  ///< exit status 10 and its text on standard output
    any,     ///< its text, wherever it writes it, or exit status 0, 10 or 246
};

/// What the installers do differently when the section "service" says so.
struct InstallationOptions {
    ghn::ConfigLayerQuoting quoting = ghn::ConfigLayerQuoting::none;
    /// The label that a flash partition must have before it is erased for a boot loader.
    std::optional<std::string> bootloader_label;
    /// Ends tools that do not write a chip: package manager, powerline tools, service scripts.
    ToolLimit tool_limit;
    /// Withdraws the record of a version right before the tool runs that overwrites the part.
    bool strict_records = false;
    /// An interrupted installation counts as begun only if this gateway has written that down.
    bool strict_resume = false;
    UpgradeHandover upgrade_handover = UpgradeHandover::exit10;
    /// Whether the log shows the password of the powerline network.
    bool log_secrets = true;
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
    ToolLimit tool_limit;
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
    /// Directory for downloads, without a trailing slash, instead of the temporary directory.
    std::optional<std::string> download_dir;
    /// Whether libcurl's trace shows credentials.
    bool log_secrets = true;
};

[[nodiscard]] ServiceOptions read_service_options(Config& config);

}  // namespace zephran
