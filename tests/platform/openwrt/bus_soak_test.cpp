// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include "bus_bench.h"
#include "common/json.h"
#include "common/popen.h"
#include "support/message_builder.h"
#include "support/temporary_directory.h"

namespace zephran::platform::openwrt {

namespace {

constexpr unsigned clients = 4;
constexpr unsigned rounds = 15;
constexpr unsigned calls_in_a_round = 6;

/// Processes that call every method in turn, for a number of rounds.
class Clients {
public:
    explicit Clients(const test::PrivateBroker& broker) {
        const auto call = [&](const std::string& arguments) {
            return broker.command("call zephran " + arguments) + "\n";
        };
        const std::string round = call("get_agents") + call("get_deployment") +
                                  call("accept_deployment") + call("force_poll") +
                                  call(R"(force_poll '{"agent_id":"gw"}')") +
                                  call(R"(force_poll '{"agent_id":"unknown"}')");
        for (unsigned i = 0; i < clients; ++i) {
            // A file, because a full pipe would block the client.
            processes.push_back(std::make_unique<common::POpen>(
                "for i in $(seq " + std::to_string(rounds) + "); do\n" + round + "done >" +
                output(i) + "; touch " + end_mark(i)));
        }
    }

    [[nodiscard]] bool are_running() const {
        for (unsigned i = 0; i < clients; ++i) {
            if (::access(end_mark(i).c_str(), F_OK) != 0) {
                return true;
            }
        }
        return false;
    }

    /// The answers, line by line.
    [[nodiscard]] std::vector<std::string> answers() {
        processes.clear();
        std::vector<std::string> lines;
        for (unsigned i = 0; i < clients; ++i) {
            std::ifstream file{output(i)};
            for (std::string line; std::getline(file, line);) {
                lines.push_back(line);
            }
        }
        return lines;
    }

private:
    [[nodiscard]] std::string output(unsigned number) const {
        return directory.path("output-" + std::to_string(number));
    }
    [[nodiscard]] std::string end_mark(unsigned number) const {
        return directory.path("end-" + std::to_string(number));
    }

    TemporaryDirectory directory;
    std::vector<std::unique_ptr<common::POpen>> processes;
};

/// Does what the main loop does to agents, but many times as fast.
class AgentsThatComeAndGo {
public:
    explicit AgentsThatComeAndGo(BusManager& served) : manager{served} {}

    void step() {
        ++number;
        const std::string id = "device-" + std::to_string(number);
        manager.spawn_device(id);
        // The first two ticks bring a dormant agent to rest.
        manager.tick_agents();
        manager.tick_agents();
        change_deployment();
        manager.abort_agent("device-" + std::to_string(number - 1));
        manager.remove_aborted_agents();
    }

    [[nodiscard]] unsigned steps() const { return number; }

private:
    void change_deployment() {
        AgentControl& gateway = manager.control("gw");
        if (number % 2 == 0) {
            gateway.drop_pending_deployment();
            return;
        }
        test::DeploymentText text;
        text.id = std::to_string(number);
        text.chunks = {{"script", "one", text.id}, {"script", "two", text.id}};
        gateway.set_pending_deployment(test::deployment_from(text));
        gateway.set_last_poll(std::chrono::system_clock::from_time_t(number));
    }

    BusManager& manager;
    unsigned number = 0;
};

void expect_whole_deployment(const Json::Value& answer) {
    ASSERT_EQ(answer["chunks"].size(), 2U);
    for (const Json::Value& chunk : answer["chunks"]) {
        EXPECT_EQ(chunk["type"], "script");
        EXPECT_EQ(chunk["version"], answer["action_id"]);
    }
}

void expect_whole_agents(const Json::Value& answer) {
    std::set<std::string> ids;
    for (const Json::Value& agent : answer["agents"]) {
        const bool is_gateway = agent["id"] == "gw";
        EXPECT_EQ(agent["config"]["dormant"].asString(), is_gateway ? "1" : "");
        EXPECT_EQ(agent["config"]["parent"].asString(), is_gateway ? "" : "gw");
        ids.insert(agent["id"].asString());
    }
    EXPECT_EQ(ids.count("gw"), 1U);
    EXPECT_EQ(ids.size(), answer["agents"].size());
}

void expect_whole(const std::string& line) {
    SCOPED_TRACE(line);
    const Json::Value answer = common::JSONDefaultParser{}(line);
    if (answer.isMember("agents")) {
        expect_whole_agents(answer);
    } else if (answer.isMember("action_id")) {
        expect_whole_deployment(answer);
    } else {
        EXPECT_TRUE(answer["success"].isBool());
    }
}

TEST(BusSoak, EveryCallIsAnsweredWhileAgentsAndDeploymentsChange) {
    BusBench bench;
    // Thousands of steps would fill the memory with log lines.
    set_log_level("ERROR");
    AgentManagerSettings settings;
    settings.gateway_id = "gw";
    // Forced polls fail immediately there.
    settings.server = "127.0.0.1:1";
    settings.dormant = true;
    settings.properties = {{"dormant", "1"}};
    bench.manager.configure(settings);
    bench.manager.spawn_gateway_agent();
    bench.manager.run_setup();

    Clients callers{bench.broker};
    AgentsThatComeAndGo agents{bench.manager};
    while (callers.are_running()) {
        agents.step();
    }
    const std::vector<std::string> answers = callers.answers();

    EXPECT_EQ(answers.size(), clients * rounds * calls_in_a_round);
    for (const std::string& line : answers) {
        expect_whole(line);
    }
    EXPECT_GT(agents.steps(), rounds);
    EXPECT_THAT(bench.finished_log(), ::testing::Not(::testing::HasSubstr("action=call")));
}

}  // namespace

}  // namespace zephran::platform::openwrt
