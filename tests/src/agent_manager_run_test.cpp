// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent_manager.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;

/// Thrown to leave the main loop, which otherwise only ends after a signal.
struct LoopLeft : std::runtime_error {
    LoopLeft() : std::runtime_error{"The test has seen enough"} {}
};

/// The events of a loop, in order.
using Events = std::vector<std::string>;

class RecordingManager : public AgentManager {
public:
    RecordingManager(Events& recorded, std::function<void()> loop_pause, bool dormant = true)
        : AgentManager{std::move(loop_pause)}, events{recorded} {
        AgentManagerSettings dormant_gateway;
        dormant_gateway.gateway_id = "gateway";
        dormant_gateway.server = "update.example:none";
        dormant_gateway.dormant = dormant;
        configure(dormant_gateway);
    }

protected:
    void run_setup() override { events.emplace_back("platform setup"); }
    void run_teardown() override { std::cerr << "platform teardown\n"; }

private:
    Events& events;
};

class RecordingHandler : public DiscoveryHandler {
public:
    RecordingHandler(Events& recorded, std::string handler_name)
        : events{recorded}, name{std::move(handler_name)} {}

    void setup(AgentManager* manager) override {
        events.push_back(name + " setup with " + std::to_string(manager->get_agents().size()) +
                         " agent");
    }
    void tick() override { events.push_back(name + " tick"); }

private:
    Events& events;
    std::string name;
};

TEST(AgentManagerRun, SetsUpGatewayHandlersAndPlatformInThisOrder) {
    const FakePlatform platform;
    Events events;
    RecordingManager manager{events, [] { throw LoopLeft{}; }};
    manager.add_discovery_handler(std::make_unique<RecordingHandler>(events, "first"));
    manager.add_discovery_handler(std::make_unique<RecordingHandler>(events, "second"));

    EXPECT_THROW(manager.run(), LoopLeft);

    EXPECT_THAT(events, ElementsAre("first setup with 1 agent", "second setup with 1 agent",
                                    "platform setup", "first tick", "second tick"));
}

TEST(AgentManagerRun, EveryIterationTicksTheHandlersAndTheAgents) {
    const FakePlatform platform;
    Events events;
    unsigned pauses = 0;
    RecordingManager manager{events, [&] {
                                 if (++pauses == 2) {
                                     throw LoopLeft{};
                                 }
                             }};
    manager.add_discovery_handler(std::make_unique<RecordingHandler>(events, "handler"));

    EXPECT_THROW(manager.run(), LoopLeft);

    EXPECT_EQ(std::count(events.begin(), events.end(), "handler tick"), 2);
    EXPECT_TRUE(manager.get_agents().at("gateway")->is_finished());
}

TEST(AgentManagerRun, RestartsAnAgentWhosePollIsForced) {
    const FakePlatform platform;
    Events events;
    unsigned pauses = 0;
    AgentManager* running = nullptr;
    RecordingManager manager{events, [&] {
                                 const auto& gateway = running->get_agents().at("gateway");
                                 if (++pauses == 3) {
                                     ASSERT_TRUE(gateway->is_finished());
                                     gateway->force_poll();
                                 } else if (pauses == 4) {
                                     throw LoopLeft{};
                                 }
                             }};
    running = &manager;

    EXPECT_THROW(manager.run(), LoopLeft);

    EXPECT_FALSE(manager.get_agents().at("gateway")->is_finished());
}

/// What is stored as the reboot mark after a failure in the first iteration.
std::string mark_after_failure(bool dormant, bool has_work) {
    FakePlatform platform;
    Events events;
    AgentManager* running = nullptr;
    RecordingManager manager{events,
                             [&] {
                                 if (has_work) {
                                     running->get_agents().at("gateway")->force_poll();
                                 }
                                 throw LoopLeft{};
                             },
                             dormant};
    running = &manager;
    EXPECT_THROW(manager.run(), LoopLeft);
    return platform.config.values["zephran.service.rebooted"];
}

TEST(AgentManagerRun, FailureLeavesTheWorkOfADormantGatewayToTheNextProcess) {
    EXPECT_EQ(mark_after_failure(true, true), "1");
}

TEST(AgentManagerRun, FailureOfADormantGatewayWithoutWorkLeavesNothing) {
    EXPECT_EQ(mark_after_failure(true, false), "");
}

TEST(AgentManagerRun, FailureOfAGatewayThatPollsAnywayLeavesNothing) {
    EXPECT_EQ(mark_after_failure(false, true), "");
}

TEST(AgentManagerRun, MarkThatCannotBeStoredIsLoggedAsTheRuns) {
    FakePlatform platform;
    platform.config.read_only_keys.insert("zephran.service.rebooted");
    const CapturedLog log;
    Events events;
    AgentManager* running = nullptr;
    RecordingManager manager{events, [&] {
                                 running->get_agents().at("gateway")->force_poll();
                                 throw LoopLeft{};
                             }};
    running = &manager;

    EXPECT_THROW(manager.run(), LoopLeft);

    EXPECT_THAT(log.text(),
                ::testing::HasSubstr(" run: action=run message=could not store config entry"));
}

/// Runs a dormant gateway until a signal, and exits with 7 if that leaves its reboot mark.
[[noreturn]] void run_and_exit_with_mark(bool has_work) {
    FakePlatform platform;
    Events events;
    unsigned pauses = 0;
    AgentManager* running = nullptr;
    RecordingManager manager{events, [&] {
                                 if (++pauses == 3) {
                                     (void)std::raise(SIGTERM);
                                     if (has_work) {
                                         running->get_agents().at("gateway")->force_poll();
                                     }
                                 }
                             }};
    running = &manager;
    manager.run();
    std::exit(platform.config.values["zephran.service.rebooted"] == "1" ? 7 : EXIT_SUCCESS);
}

TEST(AgentManagerRunDeathTest, StopLeavesTheWorkOfADormantGatewayToTheNextProcess) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";

    EXPECT_EXIT(run_and_exit_with_mark(true), ::testing::ExitedWithCode(7), "");
}

TEST(AgentManagerRunDeathTest, StopOfADormantGatewayWithoutWorkLeavesNothing) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";

    EXPECT_EXIT(run_and_exit_with_mark(false), ::testing::ExitedWithCode(0), "");
}

/// A signal stops the loop; the gateway's agent has gone by then, and the loop fails after that.
[[noreturn]] void fail_after_the_gateway_has_gone() {
    const FakePlatform platform;
    Events events;
    AgentManager* running = nullptr;
    RecordingManager manager{events, [&] {
                                 if (events.back() != "stopped") {
                                     events.emplace_back("stopped");
                                     (void)std::raise(SIGTERM);
                                 } else if (running->get_agents().empty()) {
                                     throw LoopLeft{};
                                 }
                             }};
    running = &manager;
    try {
        manager.run();
    } catch (const LoopLeft&) {
        std::exit(3);
    }
    std::exit(EXIT_SUCCESS);
}

TEST(AgentManagerRunDeathTest, FailureAfterTheGatewayHasGoneStaysWhatItIs) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";

    EXPECT_EXIT(fail_after_the_gateway_has_gone(), ::testing::ExitedWithCode(3), "");
}

TEST(AgentManagerRun, RemovesAbortedAgents) {
    const FakePlatform platform;
    Events events;
    unsigned pauses = 0;
    AgentManager* running = nullptr;
    RecordingManager manager{events, [&] {
                                 if (++pauses == 1) {
                                     hawkbit::Attributes properties;
                                     running->spawn_agent("device", properties, {}, true);
                                     running->abort_agent("device");
                                 } else if (pauses == 4) {
                                     throw LoopLeft{};
                                 }
                             }};
    running = &manager;

    EXPECT_THROW(manager.run(), LoopLeft);

    EXPECT_EQ(manager.get_agents().count("device"), 0U);
    EXPECT_EQ(manager.get_agents().count("gateway"), 1U);
}

[[noreturn]] void run_and_exit_with_number_of_pauses() {
    const FakePlatform platform;
    Events events;
    int pauses = 0;
    RecordingManager manager{events, [&] {
                                 if (++pauses == 1) {
                                     (void)std::raise(SIGTERM);
                                 }
                             }};
    manager.run();
    std::exit(pauses);
}

TEST(AgentManagerRunDeathTest, ReturnsAfterASignalOnceAllAgentsAreAtRest) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";

    EXPECT_EXIT(run_and_exit_with_number_of_pauses(), ::testing::ExitedWithCode(3), "");
}

/// Runs until a signal in the first pause has ended the loop, and prints what the loop did.
[[noreturn]] void run_and_print_the_shutdown() {
    const FakePlatform platform;
    Events events;
    RecordingManager manager{events, [&] {
                                 events.emplace_back("pause");
                                 if (std::count(events.begin(), events.end(), "pause") == 1) {
                                     (void)std::raise(SIGTERM);
                                 }
                             }};
    manager.add_discovery_handler(std::make_unique<RecordingHandler>(events, "handler"));
    std::string logged;
    {
        const CapturedLog log{"INFO"};
        manager.run();
        logged = log.text();
    }
    for (const std::string& event : events) {
        std::cerr << event << "\n";
    }
    std::istringstream lines{logged};
    for (std::string line; std::getline(lines, line);) {
        const bool is_of_shutdown = line.find("action=run") != std::string::npos ||
                                    line.find("event=abort_agents") != std::string::npos ||
                                    line.find("action=signal") != std::string::npos;
        if (is_of_shutdown) {
            std::cerr << line.substr(line.find('=') + 1) << "\n";
        }
    }
    std::exit(EXIT_SUCCESS);
}

TEST(AgentManagerRunDeathTest, AfterASignalAgentsAreAbortedAndRemovedAndHandlersAreNotTicked) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";

    EXPECT_EXIT(run_and_print_the_shutdown(), ::testing::ExitedWithCode(EXIT_SUCCESS),
                "handler setup with 1 agent\nplatform setup\nhandler tick\npause\npause\npause\n"
                "signal message=received exit signal\n"
                "abort_agents\nrun remaining_agents=1\n"
                "abort_agents\nrun remaining_agents=0\n$");
}

[[noreturn]] void run_with_agents_that_never_end() {
    const FakePlatform platform;
    Events events;
    int pauses = 0;
    AgentManager* running = nullptr;
    RecordingManager manager{events, [&] {
                                 std::cerr << "pause " << ++pauses << "\n";
                                 if (pauses == 1) {
                                     (void)std::raise(SIGTERM);
                                 }
                                 hawkbit::Attributes properties;
                                 running->spawn_agent("device " + std::to_string(pauses),
                                                      properties, {}, true);
                             }};
    running = &manager;
    manager.run();
    std::exit(EXIT_SUCCESS);
}

TEST(AgentManagerRunDeathTest, ForcesTheExitInTheEleventhIterationAfterASignal) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";

    EXPECT_EXIT(run_with_agents_that_never_end(), ::testing::ExitedWithCode(EXIT_FAILURE),
                "pause 11\n[^\n]*ERROR [^\n]* run: action=run message=process was signaled but we "
                "didn't return, forcing exit[^\n]*\nplatform teardown");
}

}  // namespace
}  // namespace zephran::test
