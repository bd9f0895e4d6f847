// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "agent_manager.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"

namespace zephran::test {
namespace {

/// Says on standard error, the only stream that the parent sees, that it has gone.
class PrintingHandler : public DiscoveryHandler {
public:
    PrintingHandler() = default;
    PrintingHandler(const PrintingHandler&) = delete;
    PrintingHandler& operator=(const PrintingHandler&) = delete;
    ~PrintingHandler() override { std::cerr << "handler has gone\n"; }

    void setup(AgentManager* /*manager*/) override {}
    void tick() override {}
};

/// Its agents never end, as each pause adds one.
class CrowdedManager : public AgentManager {
public:
    explicit CrowdedManager(std::function<void(unsigned)> in_pause)
        : AgentManager{[this] {
              hawkbit::Attributes properties;
              during_pause(++pauses);
              spawn_agent("device " + std::to_string(pauses), properties, {}, true);
          }},
          during_pause{std::move(in_pause)} {
        AgentManagerSettings crowded;
        crowded.gateway_id = "gateway";
        crowded.server = "update.example:none";
        crowded.dormant = true;
        configure(crowded);
    }

protected:
    void run_setup() override {}
    void run_teardown() override {
        std::cerr << "teardown, mark "
                  << FakePlatform::current().config.values["zephran.service.rebooted"] << "\n";
    }

private:
    std::function<void(unsigned)> during_pause;
    unsigned pauses = 0;
};

/// A stop is requested while the gateway's poll is forced.
[[noreturn]] void stop_with_work_and_too_many_agents() {
    const FakePlatform platform;
    CrowdedManager* running = nullptr;
    CrowdedManager manager{[&](unsigned pause) {
        if (pause == 3) {
            (void)std::raise(SIGTERM);
            running->get_agents().at("gateway")->force_poll();
        }
    }};
    running = &manager;
    manager.add_discovery_handler(std::make_unique<PrintingHandler>());
    manager.run();
    std::exit(EXIT_SUCCESS);
}

TEST(AgentManagerForcedExitDeathTest, EndsTheSearchAndLeavesTheWorkToTheNextProcess) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";

    EXPECT_EXIT(stop_with_work_and_too_many_agents(), ::testing::ExitedWithCode(EXIT_FAILURE),
                "handler has gone\n(.*\n)*teardown, mark 1\n");
}

}  // namespace
}  // namespace zephran::test
