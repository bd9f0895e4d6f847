// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "openwrt/ubus_agent_manager.h"
#include "support/captured_log.h"
#include "support/private_broker.h"

namespace zephran::platform::openwrt {

/// A manager on a bus of its own, driven step by step. Its agents are dormant and use no network.
class BusManager : public UbusAgentManager {
public:
    explicit BusManager(const std::string& socket, bool is_extended = false)
        : UbusAgentManager{{socket, soon, soon}, [] {}} {
        AgentManagerSettings dormant_gateway;
        dormant_gateway.gateway_id = "gw";
        dormant_gateway.server = "update.example";
        dormant_gateway.dormant = true;
        dormant_gateway.properties = {{"dormant", "1"}};
        dormant_gateway.bus_extended = is_extended;
        configure(dormant_gateway);
    }

    void spawn_device(const std::string& id) {
        hawkbit::Attributes properties{{"model", "x"}};
        spawn_agent(id, properties, {}, true);
    }
    [[nodiscard]] const AgentControl& control(const std::string& id) const {
        return *controls()->at(id);
    }
    [[nodiscard]] AgentControl& control(const std::string& id) { return *controls()->at(id); }

    using UbusAgentManager::run_setup;
    using UbusAgentManager::run_teardown;

private:
    static constexpr std::chrono::milliseconds soon{10};
};

/// The same with a broker, and a log that is read once the manager serves no more.
struct BusBench {
    explicit BusBench(bool is_extended = false) : manager{broker.socket(), is_extended} {}

    [[nodiscard]] test::CommandResult call(const std::string& method_and_arguments) const {
        return test::run_command(broker.command("call zephran " + method_and_arguments));
    }
    [[nodiscard]] std::string finished_log() {
        manager.run_teardown();
        return log.text();
    }

    CapturedLog log;
    test::PrivateBroker broker;
    BusManager manager;
};

}  // namespace zephran::platform::openwrt
