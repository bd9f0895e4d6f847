// SPDX-License-Identifier: Apache-2.0
#include "openwrt/preparation.h"

#include <fstream>
#include <utility>

#include "common/popen.h"

namespace zephran::platform::openwrt {

namespace {

constexpr const char* firmware_part = "os";

/// The exit code does not count: if there is too little room, the download or installation fails.
void run(const std::string& command, const Preparation::Limit& limit) {
    constexpr int no_limit = 0;
    common::POpen program{command};
    std::string discarded;
    if (limit) {
        program.wait_for_tool(discarded, *limit);
    } else {
        program.wait(no_limit);
    }
}

}  // namespace

Preparation::Preparation(Environment environment)
    : download_script{std::move(environment.download_script)},
      service_script{std::move(environment.service_script)} {}

void Preparation::prepare_download(const std::string& part, const Limit& limit) {
    if (download_prepared || part != firmware_part) {
        return;
    }
    run(download_script, limit);
    download_prepared = true;
}

void Preparation::prepare_install(const std::string& part, const Limit& limit) {
    if (install_prepared || part != firmware_part) {
        return;
    }
    if (!std::ifstream{service_script}.is_open()) {
        return;
    }
    run(service_script + " stop", limit);
    install_prepared = true;
}

}  // namespace zephran::platform::openwrt
