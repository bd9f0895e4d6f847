// SPDX-License-Identifier: Apache-2.0
#include "support/fake_platform.h"

#include <stdexcept>

#include "platform.h"

namespace zephran {

namespace {

FakePlatform* living = nullptr;

}  // namespace

FakePlatform::FakePlatform() {
    if (living != nullptr) {
        throw std::logic_error{"There is a FakePlatform already"};
    }
    living = this;
}

FakePlatform::~FakePlatform() {
    living = nullptr;
}

FakePlatform& FakePlatform::current() {
    if (living == nullptr) {
        throw std::logic_error{"The test has no FakePlatform"};
    }
    return *living;
}

namespace platform {

const char* get_temp_directory() {
    return FakePlatform::current().temp_directory.c_str();
}

const char* get_run_directory() {
    return FakePlatform::current().run_directory.c_str();
}

const char* get_state_directory() {
    return FakePlatform::current().state_directory.c_str();
}

Config* get_config() {
    return &FakePlatform::current().config;
}

void prepare_download(const hawkbit::DeploymentActionMessage::Chunk& /*chunk*/,
                      const hawkbit::DeploymentActionMessage::Artifact& artifact,
                      const Limit& limit) {
    FakePlatform::current().preparation_limits.push_back(limit);
    FakePlatform::current().prepared_downloads.push_back(artifact.filename());
}

void prepare_install(const hawkbit::DeploymentActionMessage::Chunk& chunk, const Limit& limit) {
    FakePlatform::current().preparation_limits.push_back(limit);
    FakePlatform::current().prepared_installs.push_back(chunk.part());
}

void recover_download() {
    ++FakePlatform::current().recovered_downloads;
}

void recover_install() {
    ++FakePlatform::current().recovered_installs;
}

}  // namespace platform

}  // namespace zephran
