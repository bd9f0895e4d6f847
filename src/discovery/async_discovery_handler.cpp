// SPDX-License-Identifier: Apache-2.0
#include "discovery/async_discovery_handler.h"

#include <utility>

#include <boost/exception/diagnostic_information.hpp>

#include "agent_manager.h"
#include "common/logprint.h"
#include "common/new_thread.h"

namespace zephran::discovery {

AsyncDiscoveryHandler::AsyncDiscoveryHandler(std::chrono::milliseconds period_between_passes,
                                             Clock current_time, bool is_failure_fatal)
    : now{std::move(current_time)},
      last_discover{now()},
      period{period_between_passes},
      failure_is_fatal{is_failure_fatal} {}

void AsyncDiscoveryHandler::tick() {
    if (discovery.valid()) {
        if (!pass_has_ended()) {
            return;
        }
        apply_pass();
    }
    start_pass_when_due();
}

bool AsyncDiscoveryHandler::pass_has_ended() const {
    const std::future_status status = discovery.wait_for(longest_wait);
    ZLOG_DEBUG_AS("tick", "action", "pending discover", "status", static_cast<int>(status));
    return status == std::future_status::ready;
}

void AsyncDiscoveryHandler::end_pass() {
    try {
        discovery.get();
    } catch (const std::exception& error) {
        if (failure_is_fatal) {
            throw;
        }
        ZLOG_WARNING_AS("tick", "event", "discovery_failed", "what",
                        boost::diagnostic_information(error));
    }
}

void AsyncDiscoveryHandler::apply_pass() {
    end_pass();
    for (SpawnRequest& request : pending_spawns) {
        constexpr bool dormant = false;
        manager->spawn_agent(request.id, request.properties, request.context, dormant);
    }
    for (const std::string& id : pending_aborts) {
        // An adapter can have any address, also one that the gateway has as its id.
        if (id != manager->gateway_id()) {
            manager->abort_agent(id);
        }
    }
    last_discover = now();
}

void AsyncDiscoveryHandler::start_pass_when_due() {
    if (std::chrono::floor<std::chrono::milliseconds>(now() - last_discover) < period) {
        return;
    }
    ZLOG_DEBUG_AS("tick", "action", "starting discover");
    pending_spawns.clear();
    pending_aborts.clear();
    count_taken_places();
    discovery = common::begin_in_thread([this] { discover_once(); });
}

void AsyncDiscoveryHandler::count_taken_places() {
    taken_places.clear();
    for (const auto& agent : manager->get_agents()) {
        if (agent.first != manager->gateway_id()) {
            taken_places.insert(agent.first);
        }
    }
}

void AsyncDiscoveryHandler::spawn_agent(const std::string& id,
                                        const hawkbit::Attributes& properties,
                                        const InstallerContext& context) {
    taken_places.insert(id);
    pending_spawns.push_back({context, properties, id});
}

void AsyncDiscoveryHandler::abort_agent(const std::string& id) {
    pending_aborts.push_back(id);
}

void AsyncDiscoveryHandler::discard_pass() noexcept {
    if (!discovery.valid()) {
        return;
    }
    stop_requested = true;
    try {
        discovery.get();
    } catch (...) {
        ZLOG_DEBUG("event", "exception_caught", "action", "discard_pass", "what",
                   boost::current_exception_diagnostic_information());
    }
}

}  // namespace zephran::discovery
