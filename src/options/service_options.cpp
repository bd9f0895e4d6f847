// SPDX-License-Identifier: Apache-2.0
#include "options/service_options.h"

#include "options/option_reader.h"

namespace zephran {

namespace {

constexpr const char* section = "service";

InstallationOptions read_installation_options(const OptionReader& options) {
    InstallationOptions installation;
    installation.quoting = options.flag("tool_quoting").value_or(false)
                               ? ghn::ConfigLayerQuoting::shell
                               : ghn::ConfigLayerQuoting::none;
    installation.bootloader_label = options.text("bootloader_label");
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

}  // namespace

ServiceOptions read_service_options(Config& config) {
    const OptionReader options{config, section};
    ServiceOptions service{read_agent_options(options), read_discovery_options(options)};
    service.discovery.quoting = service.agent.installation.quoting;
    return service;
}

}  // namespace zephran
