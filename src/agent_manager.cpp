// SPDX-License-Identifier: Apache-2.0
#include "agent_manager.h"

#include <cstdlib>
#include <utility>

#include <unistd.h>

#include "common/logprint.h"
#include "exit_handler.h"
#include "ghn/ghn_config.h"
#include "platform.h"
#include "store/device_store.h"

namespace zephran {

namespace {

constexpr std::uint32_t gateway_mtd_write_attempts = 100;
constexpr unsigned longest_wind_down = 10;

/// @returns whether any agent was erased
template <class Predicate>
bool erase_agents(AgentManager::Agents& agents, Predicate is_to_go) {
    const std::size_t count = agents.size();
    for (auto agent = agents.begin(); agent != agents.end();) {
        agent = is_to_go(*agent->second) ? agents.erase(agent) : std::next(agent);
    }
    return agents.size() != count;
}

bool is_at_rest(const HawkbitAgent& agent) {
    return agent.is_finished() || agent.is_waiting();
}

}  // namespace

AgentManager::AgentManager(std::function<void()> loop_pause,
                           std::shared_ptr<StatusObserver> observer)
    : pause{std::move(loop_pause)}, status_observer{std::move(observer)} {}

AgentManager::~AgentManager() = default;

void AgentManager::sleep_one_second() {
    ::sleep(1);
}

void AgentManager::add_discovery_handler(std::unique_ptr<DiscoveryHandler> handler) {
    discovery_handlers.push_back(std::move(handler));
}

void AgentManager::run() {
    spawn_gateway_agent();
    for (const auto& handler : discovery_handlers) {
        handler->setup(this);
    }
    run_setup();
    try {
        run_loop();
    } catch (...) {
        note_unfinished_work();
        leave_poll_to_next_process();
        throw;
    }
    leave_poll_to_next_process();
}

void AgentManager::run_loop() {
    ExitHandler& exit_handler = ExitHandler::instance();
    unsigned iterations_since_stop = 0;
    while (true) {
        exit_handler.log_signals();
        const bool stop_requested = exit_handler.is_exit_requested();
        if (stop_requested && agents.empty()) {
            return;
        }
        if (stop_requested) {
            wind_down(++iterations_since_stop);
        } else {
            run_iteration();
        }
        tick_agents();
        pause();
    }
}

void AgentManager::run_iteration() {
    for (const auto& handler : discovery_handlers) {
        handler->tick();
    }
    remove_aborted_agents();
    restart_due_agents();
}

void AgentManager::wind_down(unsigned iteration) {
    if (iteration == 1) {
        note_unfinished_work();
    }
    abort_agents();
    remove_finished_agents();
    if (iteration > longest_wind_down) {
        ZLOG_ERROR_AS("run", "action", "run", "message",
                      "process was signaled but we didn't return, forcing exit");
        discovery_handlers.clear();
        leave_poll_to_next_process();
        run_teardown();
        std::exit(EXIT_FAILURE);
    }
    ZLOG_INFO_AS("run", "action", "run", "remaining_agents", agents.size());
}

void AgentManager::spawn_gateway_agent() {
    if (agents.count(settings.gateway_id) != 0) {
        return;
    }
    // A missing flash type is reported to the server as an empty one.
    settings.properties.emplace(hawkbit::flash_type_attribute, "");
    spawn_agent(settings.gateway_id, settings.properties, gateway_context(), settings.dormant);
    if (settings.dormant) {
        force_poll_after_reboot();
    }
}

InstallerContext AgentManager::gateway_context() const {
    InstallerContext context;
    context.installed_flash_type = settings.properties.at(hawkbit::flash_type_attribute);
    context.bootloader_mtd = settings.bootloader_mtd;
    context.mtd_write_attempts = gateway_mtd_write_attempts;
    context.mac_address = DeviceStore{*platform::get_config()}.ghn_config().get_controller_mac();
    return context;
}

void AgentManager::force_poll_after_reboot() {
    DeviceStore store{*platform::get_config()};
    if (!store.take_reboot_mark({"spawn_gateway_agent"})) {
        return;
    }
    agents.at(settings.gateway_id)->force_poll();
    ZLOG_WARNING_AS("spawn_gateway_agent", "action", "spawn_gateway_agent", "message",
                    "forcing poll after installer reboot");
}

// A stop gives the work up and then removes the agent, so it is asked before that.
void AgentManager::note_unfinished_work() {
    const auto gateway = agents.find(settings.gateway_id);
    has_unfinished_work =
        has_unfinished_work || (gateway != agents.end() && gateway->second->has_unfinished_work());
}

void AgentManager::leave_poll_to_next_process() {
    // The supervisor starts the daemon again; dormant, it would sleep on what is still to be done.
    // The mark comes last: an installer that was to reboot the device removes it at its end.
    if (settings.dormant && has_unfinished_work) {
        DeviceStore{*platform::get_config()}.mark_rebooted({"run"});
    }
}

AgentSettings AgentManager::settings_for(const std::string& id,
                                         const hawkbit::Attributes& properties,
                                         const InstallerContext& context, bool dormant) const {
    AgentSettings agent_settings;
    agent_settings.context = context;
    agent_settings.context.options = settings.options.installation;
    if (!settings.download_directory.empty()) {
        agent_settings.context.download_folder = DownloadFolder{settings.download_directory, id};
    }
    agent_settings.attributes = properties;
    agent_settings.schedule = settings.schedule;
    agent_settings.dormant = dormant;
    agent_settings.downloads = settings.downloads;
    agent_settings.options = settings.options;
    agent_settings.reports = settings.reports;
    if (settings.bus_extended && id == settings.gateway_id) {
        agent_settings.may_be_postponed = true;
        agent_settings.are_notes_told = true;
        agent_settings.status_observer = status_observer;
    }
    return agent_settings;
}

void AgentManager::spawn_agent(const std::string& id, hawkbit::Attributes& properties,
                               const InstallerContext& context, bool dormant) {
    if (id != settings.gateway_id) {
        properties[hawkbit::parent_attribute] = settings.gateway_id;
    }
    AgentSettings agent_settings = settings_for(id, properties, context, dormant);
    const auto existing = agents.find(id);
    if (existing != agents.end()) {
        existing->second->live_on(std::move(agent_settings));
        return;
    }
    constexpr bool always_https = true;
    auto agent = std::make_unique<HawkbitAgent>(
        hawkbit::ControllerURLBuilder{id, settings.server, settings.tenant, always_https},
        HawkbitAgent::Environment::real(settings.transport, settings.digest));
    agent->configure(std::move(agent_settings));
    agents.emplace(id, std::move(agent));
    publish_controls();
}

void AgentManager::publish_controls() {
    AgentControls controls;
    for (const auto& agent : agents) {
        controls.emplace(agent.first, agent.second->control());
    }
    published_controls.publish(std::move(controls));
}

void AgentManager::abort_agent(const std::string& id) {
    const auto agent = agents.find(id);
    if (agent != agents.end()) {
        agent->second->abort();
    }
}

void AgentManager::tick_agents() {
    for (const auto& agent : agents) {
        agent.second->tick();
    }
}

void AgentManager::abort_agents() {
    ZLOG_WARNING("event", "abort_agents");
    for (const auto& agent : agents) {
        agent.second->stop();
    }
}

void AgentManager::remove_finished_agents() {
    if (erase_agents(agents, [](const HawkbitAgent& agent) { return agent.is_finished(); })) {
        publish_controls();
    }
}

void AgentManager::remove_aborted_agents() {
    if (erase_agents(agents, [](const HawkbitAgent& agent) {
            return agent.is_aborted() && is_at_rest(agent);
        })) {
        publish_controls();
    }
}

void AgentManager::restart_due_agents() {
    for (const auto& entry : agents) {
        HawkbitAgent& agent = *entry.second;
        if ((agent.is_poll_due() || agent.is_poll_forced()) && is_at_rest(agent)) {
            agent.restart();
        }
    }
}

}  // namespace zephran
