// SPDX-License-Identifier: Apache-2.0
#include "platform.h"

#include "openwrt/preparation.h"
#include "openwrt/ubus_agent_manager.h"
#include "openwrt/uci_config_wrapper.h"

namespace zephran::platform {

namespace {

openwrt::Preparation& preparation() {
    static openwrt::Preparation of_this_process;
    return of_this_process;
}

}  // namespace

std::unique_ptr<AgentManager> create_agent_manager() {
    return std::make_unique<openwrt::UbusAgentManager>();
}

const char* get_temp_directory() {
    return "/tmp/";
}

const char* get_run_directory() {
    return "/var/run/";
}

const char* get_state_directory() {
    return "/etc/zephran/";
}

Config* get_config() {
    // Never destroyed: threads may still read the configuration while the process ends.
    static Config& config = *new openwrt::UciConfigWrapper;
    return &config;
}

void prepare_download(const hawkbit::DeploymentActionMessage::Chunk& chunk,
                      const hawkbit::DeploymentActionMessage::Artifact& /*artifact*/,
                      const Limit& limit) {
    preparation().prepare_download(chunk.part(), limit);
}

void prepare_install(const hawkbit::DeploymentActionMessage::Chunk& chunk, const Limit& limit) {
    preparation().prepare_install(chunk.part(), limit);
}

void recover_download() {}

void recover_install() {}

}  // namespace zephran::platform
