// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>
#include <string>

#include "config.h"
#include "platform.h"
#include "uci/exceptions.h"

namespace zephran {
namespace {

/// A gateway on which nothing is configured.
class EmptyConfig : public Config {
public:
    [[nodiscard]] bool has_option(const std::string& /*key*/) override { return false; }
    [[nodiscard]] std::string get_option(const std::string& key) override {
        ZEPHRAN_THROW(OptionNotFoundException{} << config_key_tag{key});
    }
    [[nodiscard]] bool set_option(const std::string& /*key*/,
                                  const std::string& /*value*/) override {
        return true;
    }
    [[nodiscard]] bool delete_option(const std::string& /*key*/) override { return false; }
};

}  // namespace

namespace platform {

const char* get_temp_directory() {
    return "/nowhere/";
}

const char* get_run_directory() {
    return "/nowhere/";
}

const char* get_state_directory() {
    return "/nowhere/";
}

Config* get_config() {
    static EmptyConfig config;
    return &config;
}

void prepare_download(const hawkbit::DeploymentActionMessage::Chunk& /*chunk*/,
                      const hawkbit::DeploymentActionMessage::Artifact& /*artifact*/,
                      const Limit& /*limit*/) {}
void prepare_install(const hawkbit::DeploymentActionMessage::Chunk& /*chunk*/,
                     const Limit& /*limit*/) {}
void recover_download() {}
void recover_install() {}

}  // namespace platform

}  // namespace zephran
