// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <stdexcept>

#include "deployment/hawkbit_deployer.h"
#include "support/captured_log.h"
#include "support/fake_http_client.h"
#include "support/fake_platform.h"
#include "support/message_builder.h"
#include "support/scripted_installer.h"

namespace zephran::test {

/// A deployer in a simulated environment.
struct DeployerBench {
    /// Ticks from the beginning of a chunk with one artifact until its installer is made.
    static constexpr unsigned ticks_to_installer = 8;

    /// Makes a deployer whose files can all be downloaded.
    HawkbitDeployer& make(const DeploymentText& text) {
        files.offer(text);
        deployer = std::make_unique<HawkbitDeployer>(attributes, deployment_from(text), context,
                                                     files.client_maker(), downloads, environment);
        return *deployer;
    }

    void tick(unsigned times) const {
        for (unsigned i = 0; i < times; ++i) {
            deployer->tick();
        }
    }

    /// Ticks until the deployment has ended.
    void run_to_end() const {
        constexpr unsigned more_than_enough = 500;
        for (unsigned i = 0; i < more_than_enough; ++i) {
            if (deployer->is_finished() || deployer->is_cancelled()) {
                return;
            }
            deployer->tick();
        }
        throw std::logic_error{"The deployment does not end"};
    }

    /// Tries run to their end while they are begun, and there is always room.
    [[nodiscard]] static ArtifactDownload::Environment at_once() {
        ArtifactDownload::Environment environment;
        environment.free_space = [](const std::string& /*path*/) {
            return std::uint64_t{1} << 40U;
        };
        environment.draw = [](std::uint32_t greatest) { return greatest; };
        environment.launch = [](const ArtifactDownload::Work& work) {
            std::promise<DownloadOutcome> promise;
            promise.set_value(work());
            return promise.get_future();
        };
        return environment;
    }

    [[nodiscard]] bool has_file(const std::string& name) const {
        return platform.directory.has(name);
    }

    CapturedLog log;
    FakePlatform platform;
    FileServer files;
    hawkbit::Attributes attributes;
    InstallerContext context;
    DownloadOptions downloads;
    ArtifactDownload::Environment environment = at_once();
    ScriptedPart part{"scripted"};
    std::unique_ptr<HawkbitDeployer> deployer;
};

/// A deployment of so many chunks of the scripted part, named a, b, ... with the versions 1, 2, ...
/// and one artifact each, a.bin, b.bin, ...
inline DeploymentText scripted_deployment(unsigned chunks) {
    DeploymentText text;
    for (unsigned i = 0; i < chunks; ++i) {
        const std::string name(1, static_cast<char>('a' + i));
        text.chunks.push_back({"scripted", name, std::to_string(i + 1), {{name + ".bin"}}});
    }
    return text;
}

}  // namespace zephran::test
