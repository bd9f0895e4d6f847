// SPDX-License-Identifier: Apache-2.0
#include "options/service_options.h"

#include "options/option_reader.h"

namespace zephran {

namespace {

constexpr const char* section = "service";

constexpr OptionReader::Range seconds_of_a_day{1, 86'400};

ToolLimit read_tool_limit(const OptionReader& options) {
    const auto seconds = options.number("tool_limit", seconds_of_a_day);
    return seconds ? ToolLimit{std::chrono::seconds{*seconds}} : std::nullopt;
}

InstallationOptions read_installation_options(const OptionReader& options) {
    InstallationOptions installation;
    installation.quoting = options.flag("tool_quoting").value_or(false)
                               ? ghn::ConfigLayerQuoting::shell
                               : ghn::ConfigLayerQuoting::none;
    installation.bootloader_label = options.text("bootloader_label");
    installation.tool_limit = read_tool_limit(options);
    installation.strict_records = options.flag("strict_records").value_or(false);
    installation.strict_resume = options.flag("strict_resume").value_or(false);
    installation.upgrade_handover =
        options
            .choice<UpgradeHandover>("upgrade_handover", {{"exit10", UpgradeHandover::exit10},
                                                          {"any", UpgradeHandover::any}})
            .value_or(installation.upgrade_handover);
    installation.log_secrets = options.flag("log_secrets").value_or(installation.log_secrets);
    return installation;
}

AgentOptions read_agent_options(const OptionReader& options) {
    AgentOptions agent;
    agent.chunk_order = options
                            .choice<ChunkOrder>("chunk_order", {{"server", ChunkOrder::server},
                                                                {"name", ChunkOrder::name}})
                            .value_or(agent.chunk_order);
    agent.log_repeats = options.flag("log_repeats").value_or(agent.log_repeats);
    agent.installation = read_installation_options(options);
    return agent;
}

DiscoveryOptions read_discovery_options(const OptionReader& options) {
    DiscoveryOptions discovery;
    discovery.ids = options
                        .choice<AdapterIds>("adapter_ids", {{"serial", AdapterIds::serial},
                                                            {"prefixed", AdapterIds::prefixed}})
                        .value_or(discovery.ids);
    discovery.failure_is_fatal =
        options.choice<bool>("discovery_errors", {{"fatal", true}, {"log", false}})
            .value_or(discovery.failure_is_fatal);
    return discovery;
}

bool is_plain_path(const std::string& path) {
    // Installers put the paths of artifacts into command lines. Spelled out because isalnum()
    // depends on the locale.
    static const std::string safe =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-+/";
    return !path.empty() && path.front() == '/' &&
           path.find_first_not_of(safe) == std::string::npos &&
           (path + "/").find("/../") == std::string::npos;
}

std::optional<std::string> read_download_dir(const OptionReader& options) {
    auto path = options.text("download_dir");
    if (!path) {
        return std::nullopt;
    }
    const std::string written = *path;
    path->erase(path->find_last_not_of('/') + 1);
    if (!is_plain_path(*path)) {
        OptionReader::report_bad_value("download_dir", written,
                                       "an absolute path of letters, digits and ._-+ without ..");
        return std::nullopt;
    }
    return path;
}

}  // namespace

ServiceOptions read_service_options(Config& config) {
    const OptionReader options{config, section};
    ServiceOptions service{read_agent_options(options), read_discovery_options(options),
                           read_download_dir(options)};
    service.discovery.quoting = service.agent.installation.quoting;
    service.discovery.tool_limit = service.agent.installation.tool_limit;
    service.log_secrets = service.agent.installation.log_secrets;
    return service;
}

}  // namespace zephran
