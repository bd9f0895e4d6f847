// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discovery/ghn_discovery_handler.h"
#include "support/captured_log.h"
#include "support/discovery_bench.h"
#include "support/fake_platform.h"
#include "support/ghn_options.h"
#include "support/simulated_modems.h"

namespace zephran::test {

/// A gateway whose modem is alone on its powerline network.
class GhnDiscoveryTest : public testing::Test {
protected:
    static constexpr const char* controller = "02:00:00:00:00:01";
    static constexpr const char* first = "02:00:00:00:00:0a";
    static constexpr const char* second = "02:00:00:00:00:0b";
    static constexpr const char* type_parameter = "DHCP.GENERAL.ENABLED_IPV4";

    GhnDiscoveryTest() {
        set_ghn(platform.config, "br-lan", "hush");
        set_controller_mac(platform.config, controller);
        set_domain(controller);
        handler.setup(&manager);
    }

    /// @param list comma-separated addresses of the modems that the gateway's own one sees
    void set_domain(const std::string& list) const {
        modems.answer(controller, "DIDMNG.GENERAL.MACS", list);
    }
    void run_pass() { clock.run_pass(handler); }
    /// The ids of all agents, in their order.
    [[nodiscard]] std::vector<std::string> agents() const {
        std::vector<std::string> ids;
        for (const auto& agent : manager.get_agents()) {
            ids.push_back(agent.first);
        }
        return ids;
    }
    [[nodiscard]] bool is_aborted(const std::string& id) const {
        return manager.get_agents().at(id)->is_aborted();
    }

    /// The log lines of all passes, reduced to their fields.
    [[nodiscard]] std::vector<std::string> lines() const {
        return logged_after(" discover_once: ", log.text());
    }
    [[nodiscard]] std::size_t count_calls_with(const std::string& text) const {
        std::size_t count = 0;
        for (const std::string& call : modems.calls()) {
            count += call.find(text) == std::string::npos ? 0U : 1U;
        }
        return count;
    }

    /// The line that begins every pass.
    const std::string start = "action=discover_once message=starting discovery";

    CapturedLog log;
    FakePlatform platform;
    SimulatedModems modems;
    UnreachableServerManager manager;
    PassClock clock;
    discovery::GhnDiscoveryHandler handler{PassClock::period, clock.reader()};
};

}  // namespace zephran::test
