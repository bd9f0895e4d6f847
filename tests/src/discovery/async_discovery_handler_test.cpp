// SPDX-License-Identifier: Apache-2.0
#include "discovery/async_discovery_handler.h"

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/discovery_bench.h"
#include "support/fake_platform.h"
#include "support/simulated_tools.h"

namespace zephran::discovery {
namespace {

using namespace std::chrono_literals;
using test::PassClock;
using test::UnreachableServerManager;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;
using ::testing::StartsWith;

/// Its passes run a function of the test.
class ScriptedDiscovery : public AsyncDiscoveryHandler {
public:
    using AsyncDiscoveryHandler::AsyncDiscoveryHandler;
    ScriptedDiscovery(const ScriptedDiscovery&) = delete;
    ScriptedDiscovery(ScriptedDiscovery&&) = delete;
    ScriptedDiscovery& operator=(const ScriptedDiscovery&) = delete;
    ScriptedDiscovery& operator=(ScriptedDiscovery&&) = delete;
    ~ScriptedDiscovery() override { discard_pass(); }

    void discover_once() override {
        ++passes;
        pass(*this);
    }
    using AsyncDiscoveryHandler::abort_agent;
    using AsyncDiscoveryHandler::spawn_agent;
    using AsyncDiscoveryHandler::stop_request;

    std::function<void(ScriptedDiscovery&)> pass = [](ScriptedDiscovery&) {};
    std::atomic<unsigned> passes{0};
};

class AsyncDiscoveryHandlerTest : public testing::Test {
protected:
    AsyncDiscoveryHandlerTest() { handler->setup(&manager); }

    /// Ticks once and waits for a pass that this starts.
    /// @returns whether a pass was started
    bool tick_starts_pass() {
        const std::size_t before = starts();
        handler->tick();
        if (starts() == before) {
            return false;
        }
        clock.collect_pass(*handler);
        return true;
    }
    [[nodiscard]] std::size_t starts() const {
        return logged_after(" tick: action=starting discover", log.text()).size();
    }
    void run_pass(const std::function<void(ScriptedDiscovery&)>& pass) {
        handler->pass = pass;
        clock.run_pass(*handler);
    }
    void spawn_adapter() {
        hawkbit::Attributes attributes;
        manager.spawn_agent("adapter", attributes, {}, false);
    }
    [[nodiscard]] bool is_aborted(const std::string& id) const {
        return manager.get_agents().at(id)->is_aborted();
    }

    CapturedLog log;
    FakePlatform platform;
    UnreachableServerManager manager;
    PassClock clock;
    std::unique_ptr<ScriptedDiscovery> handler =
        std::make_unique<ScriptedDiscovery>(PassClock::period, clock.reader());
};

TEST_F(AsyncDiscoveryHandlerTest, FirstPassStartsOnePeriodAfterConstruction) {
    EXPECT_FALSE(tick_starts_pass());
    clock.time += PassClock::period - 1ms;
    EXPECT_FALSE(tick_starts_pass());
    EXPECT_EQ(handler->passes, 0U);
    EXPECT_EQ(log.text(), "");

    clock.time += 1ms;

    EXPECT_TRUE(tick_starts_pass());
    EXPECT_EQ(handler->passes, 1U);
}

TEST_F(AsyncDiscoveryHandlerTest, FractionsOfAMillisecondDoNotCount) {
    clock.time += PassClock::period - 1us;
    EXPECT_FALSE(tick_starts_pass());

    clock.time += 1us;
    EXPECT_TRUE(tick_starts_pass());
}

TEST_F(AsyncDiscoveryHandlerTest, NextPassStartsOnePeriodAfterTheResultsAreApplied) {
    clock.start_pass(*handler);
    clock.time += 10s;
    clock.collect_pass(*handler);

    clock.time += PassClock::period - 1ms;
    EXPECT_FALSE(tick_starts_pass());
    clock.time += 1ms;
    EXPECT_TRUE(tick_starts_pass());
}

TEST_F(AsyncDiscoveryHandlerTest, FinishedPassIsAppliedAndTheNextOneStartedInOneTick) {
    ScriptedDiscovery restless{0ms, clock.reader()};
    restless.setup(&manager);

    restless.tick();
    clock.collect_pass(restless);
    clock.collect_pass(restless);

    EXPECT_EQ(starts(), 3U);
    EXPECT_GE(restless.passes, 2U);
}

TEST_F(AsyncDiscoveryHandlerTest, TickWaitsBrieflyForARunningPass) {
    std::promise<void> release;
    handler->pass = [&release](ScriptedDiscovery& self) {
        release.get_future().wait();
        self.abort_agent("adapter");
    };
    spawn_adapter();
    clock.start_pass(*handler);
    clock.time += 2 * PassClock::period;
    const unsigned looks = clock.looks;

    const auto before = std::chrono::steady_clock::now();
    handler->tick();
    const auto held = std::chrono::steady_clock::now() - before;

    EXPECT_GE(held, AsyncDiscoveryHandler::longest_wait);
    // Generous for a busy machine, but it is the main loop that waits.
    EXPECT_LT(held, 50 * AsyncDiscoveryHandler::longest_wait);
    EXPECT_EQ(AsyncDiscoveryHandler::longest_wait, 100ms);
    EXPECT_EQ(clock.looks, looks);
    EXPECT_EQ(starts(), 1U);
    EXPECT_FALSE(is_aborted("adapter"));
    EXPECT_THAT(logged_after(" tick: ", log.text()),
                ElementsAre("action=starting discover", "action=pending discover status=1"));
    release.set_value();
    clock.collect_pass(*handler);
    EXPECT_TRUE(is_aborted("adapter"));
    EXPECT_THAT(logged_after(" tick: ", log.text()), Contains("action=pending discover status=0"));
}

TEST_F(AsyncDiscoveryHandlerTest, AgentOfTheGatewayIsNeverAborted) {
    handler->pass = [](ScriptedDiscovery& self) { self.abort_agent("gateway"); };
    manager.spawn_gateway_agent();

    clock.run_pass(*handler);

    EXPECT_FALSE(is_aborted("gateway"));
}

TEST_F(AsyncDiscoveryHandlerTest, ProgressIsOnlyLoggedAtDebugLevel) {
    clock.run_pass(*handler);

    EXPECT_THAT(logged_after(" DEBUG ", log.text()),
                ElementsAre(StartsWith("async_discovery_handler.cpp:"),
                            StartsWith("async_discovery_handler.cpp:")));
}

TEST_F(AsyncDiscoveryHandlerTest, PassRunsOnAnotherThread) {
    std::thread::id worker;

    run_pass([&worker](ScriptedDiscovery& /*self*/) { worker = std::this_thread::get_id(); });

    EXPECT_NE(worker, std::thread::id{});
    EXPECT_NE(worker, std::this_thread::get_id());
}

TEST_F(AsyncDiscoveryHandlerTest, ExceptionOfAPassIsThrownByTheTick) {
    handler->pass = [](ScriptedDiscovery& self) {
        self.spawn_agent("device", {}, {});
        throw std::runtime_error{"the pass has failed"};
    };
    clock.start_pass(*handler);

    try {
        clock.collect_pass(*handler);
        FAIL() << "the exception was lost";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "the pass has failed");
    }
    EXPECT_THAT(manager.get_agents(), IsEmpty());
}

TEST_F(AsyncDiscoveryHandlerTest, ExceptionOfAPassCanBeOneWarning) {
    constexpr bool fatal = false;
    ScriptedDiscovery lenient{PassClock::period, clock.reader(), fatal};
    lenient.setup(&manager);
    lenient.pass = [](ScriptedDiscovery& self) {
        self.spawn_agent("device", {}, {});
        throw std::runtime_error{"the pass has failed"};
    };

    clock.run_pass(lenient);

    const auto warnings = logged_after(" tick: event=discovery_failed what=", log.text());
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_THAT(log.text(), HasSubstr(" WARNING "));
    EXPECT_THAT(log.text(), HasSubstr("the pass has failed"));
    // The handler counts on what it has requested.
    EXPECT_THAT(manager.get_agents(), ElementsAre(Pair("device", testing::_)));
}

TEST_F(AsyncDiscoveryHandlerTest, PassAfterAFailedOneIsDueAPeriodLater) {
    constexpr bool fatal = false;
    ScriptedDiscovery lenient{PassClock::period, clock.reader(), fatal};
    lenient.setup(&manager);
    lenient.pass = [](ScriptedDiscovery&) { throw std::runtime_error{"the pass has failed"}; };
    clock.start_pass(lenient);
    clock.time += 10s;
    clock.collect_pass(lenient);

    clock.time += PassClock::period - 1ms;
    lenient.tick();
    EXPECT_EQ(starts(), 1U);
    clock.time += 1ms;
    lenient.tick();
    EXPECT_EQ(starts(), 2U);
}

TEST_F(AsyncDiscoveryHandlerTest, RequestedAgentReportsItsGateway) {
    run_pass([](ScriptedDiscovery& self) { self.spawn_agent("device", {{"model", "x"}}, {}); });

    EXPECT_THAT(manager.get_agents().at("device")->attributes(),
                ElementsAre(Pair("model", "x"), Pair("parent", "gateway")));
}

TEST_F(AsyncDiscoveryHandlerTest, RequestedAgentIsNotDormant) {
    run_pass([](ScriptedDiscovery& self) { self.spawn_agent("device", {}, {}); });

    manager.tick_agents();
    manager.tick_agents();

    EXPECT_THAT(logged_after(" is_dormant: ", log.text()),
                ElementsAre("event=is_dormant status=0"));
}

TEST_F(AsyncDiscoveryHandlerTest, ExistingAgentIsLeftUnchanged) {
    run_pass([](ScriptedDiscovery& self) { self.spawn_agent("device", {{"model", "x"}}, {}); });
    const HawkbitAgent* const first = manager.get_agents().at("device").get();

    run_pass([](ScriptedDiscovery& self) { self.spawn_agent("device", {{"model", "y"}}, {}); });

    EXPECT_EQ(manager.get_agents().at("device").get(), first);
    EXPECT_THAT(first->attributes(), Contains(Pair("model", "x")));
}

TEST_F(AsyncDiscoveryHandlerTest, FirstRequestForAnIdCounts) {
    run_pass([](ScriptedDiscovery& self) {
        self.spawn_agent("device", {{"model", "x"}}, {});
        self.spawn_agent("device", {{"model", "y"}}, {});
        self.spawn_agent("other", {}, {});
    });

    EXPECT_EQ(manager.get_agents().size(), 2U);
    EXPECT_THAT(manager.get_agents().at("device")->attributes(), Contains(Pair("model", "x")));
}

TEST_F(AsyncDiscoveryHandlerTest, AgentsAreAbortedAfterNewOnesHaveBeenSpawned) {
    run_pass([](ScriptedDiscovery& self) {
        self.abort_agent("device");
        self.abort_agent("nobody");
        self.spawn_agent("device", {}, {});
        self.spawn_agent("other", {}, {});
    });

    EXPECT_TRUE(is_aborted("device"));
    EXPECT_FALSE(is_aborted("other"));
}

TEST_F(AsyncDiscoveryHandlerTest, RequestsAreCarriedOutOnce) {
    run_pass([](ScriptedDiscovery& self) { self.abort_agent("device"); });
    hawkbit::Attributes properties;
    manager.spawn_agent("device", properties, {}, true);

    run_pass([](ScriptedDiscovery& /*self*/) {});

    EXPECT_FALSE(is_aborted("device"));
    EXPECT_EQ(manager.get_agents().size(), 1U);
}

TEST_F(AsyncDiscoveryHandlerTest, RequestsOfAFailedPassAreDiscarded) {
    handler->pass = [](ScriptedDiscovery& self) {
        self.spawn_agent("device", {}, {});
        throw std::runtime_error{"the pass has failed"};
    };
    EXPECT_THROW(clock.run_pass(*handler), std::runtime_error);

    run_pass([](ScriptedDiscovery& self) { self.spawn_agent("other", {}, {}); });

    EXPECT_THAT(manager.get_agents(), ElementsAre(Pair("other", testing::_)));
}

TEST_F(AsyncDiscoveryHandlerTest, DestructionAsksARunningPassToStopAndIgnoresItsFailure) {
    std::promise<void> begun;
    std::atomic<bool> ended{false};
    handler->pass = [&](ScriptedDiscovery& self) {
        const bool asked_at_once = self.stop_request();
        begun.set_value();
        while (!self.stop_request()) {
            std::this_thread::yield();
        }
        self.abort_agent("adapter");
        ended = !asked_at_once;
        throw std::runtime_error{"the pass has failed"};
    };
    spawn_adapter();
    clock.start_pass(*handler);
    begun.get_future().wait();

    handler.reset();

    EXPECT_TRUE(ended);
    EXPECT_FALSE(is_aborted("adapter"));
    EXPECT_THAT(log.text(), HasSubstr("discard_pass: event=exception_caught"));
    EXPECT_THAT(log.text(), HasSubstr("the pass has failed"));
}

TEST_F(AsyncDiscoveryHandlerTest, DestructionWithoutAPassLogsNothing) {
    handler.reset();

    EXPECT_THAT(log.text(), Not(HasSubstr("discard_pass")));
}

}  // namespace
}  // namespace zephran::discovery
