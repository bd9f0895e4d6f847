// SPDX-License-Identifier: Apache-2.0
#include "discovery/async_discovery_handler.h"

#include <utility>

#include <boost/exception/diagnostic_information.hpp>

#include "agent_manager.h"
#include "common/logprint.h"

namespace zephran::discovery {

AsyncDiscoveryHandler::AsyncDiscoveryHandler(std::chrono::milliseconds period_between_passes,
                                             Clock current_time)
    : now{std::move(current_time)}, last_discover{now()}, period{period_between_passes} {}

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

void AsyncDiscoveryHandler::apply_pass() {
    discovery.get();
    for (SpawnRequest& request : spawn_requests_) {
        constexpr bool dormant = false;
        manager->spawn_agent(request.id, request.properties, request.context, dormant);
    }
    for (const std::string& id : abort_requests_) {
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
    spawn_requests_.clear();
    abort_requests_.clear();
    discovery = std::async(std::launch::async, [this] { discover_once(); });
}

void AsyncDiscoveryHandler::spawn_agent(const std::string& id,
                                        const hawkbit::Attributes& properties,
                                        const InstallerContext& context) {
    requested_agents.insert(id);
    spawn_requests_.push_back({context, properties, id});
}

void AsyncDiscoveryHandler::abort_agent(const std::string& id) {
    requested_agents.erase(id);
    abort_requests_.push_back(id);
}

void AsyncDiscoveryHandler::discard_pass() noexcept {
    if (!discovery.valid()) {
        return;
    }
    try {
        discovery.get();
    } catch (...) {
        ZLOG_DEBUG("event", "exception_caught", "action", "discard_pass", "what",
                   boost::current_exception_diagnostic_information());
    }
}

}  // namespace zephran::discovery
