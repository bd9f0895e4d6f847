// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/agent_control.h"
#include "agent/hawkbit_agent.h"
#include "discovery_handler.h"
#include "hawkbit/attributes.h"
#include "http/transport_settings.h"
#include "installer/installer_context.h"
#include "options/download_options.h"
#include "options/report_options.h"
#include "options/service_options.h"
#include "schedule/update_schedule.h"

namespace zephran {

/// What the agent manager gets from the command line and the configuration.
struct AgentManagerSettings {
    /// Id of the gateway's own agent.
    std::string gateway_id;
    /// Host name or address of the update server.
    std::string server;
    /// Name of the tenant at the update server.
    std::string tenant = "DEFAULT";
    /// Attributes that the gateway reports to the server.
    hawkbit::Attributes properties;
    /// Name of the MTD device for bootloaders; may be empty.
    std::string bootloader_mtd;
    /// Without one, deployments may start at any time.
    std::optional<UpdateSchedule> schedule;
    http::TransportSettings transport;
    DownloadOptions downloads;
    /// Has a folder for each agent; without a trailing slash. "": all download to the temporary
    /// directory.
    std::string download_directory;
    /// The sum by which artifacts are verified.
    hawkbit::Digest digest = hawkbit::Digest::md5;
    /// Starts the gateway's agent dormant.
    bool dormant = false;
    AgentOptions options;
    ReportOptions reports;
    /// Whether the observer hears what the gateway's agent is doing.
    bool bus_extended = false;
};

/// Owns every agent and runs the main loop. Agents are created, ticked and destroyed on the main
/// thread only.
class AgentManager {
public:
    using Agents = std::map<std::string, std::unique_ptr<HawkbitAgent>>;

    AgentManager(const AgentManager&) = delete;
    AgentManager& operator=(const AgentManager&) = delete;
    virtual ~AgentManager();

    /// Called once, before anything else.
    void configure(AgentManagerSettings new_settings) { settings = std::move(new_settings); }
    void add_discovery_handler(std::unique_ptr<DiscoveryHandler> handler);

    /// Runs until a stop has been requested and no agents remain. Ends the process with status 1 if
    /// there are still agents ten iterations after the request. Whatever is thrown leaves it. A
    /// dormant gateway that has unfinished work at its end or at the request polls in the next
    /// process.
    void run();

    /// Creates the gateway's agent unless it exists. If it is dormant, it polls once after a reboot
    /// caused by an installer.
    void spawn_gateway_agent();

    /// Creates an agent. An existing agent with this id is left unchanged, but one that is being
    /// aborted lives on with the new properties and context.
    /// @param properties gain "parent" unless the agent is the gateway's own
    void spawn_agent(const std::string& id, hawkbit::Attributes& properties,
                     const InstallerContext& context, bool dormant);

    /// Aborts an agent; it is removed once it is at rest. Unknown ids are ignored.
    void abort_agent(const std::string& id);

    /// @name Steps of the main loop
    /// @{
    void tick_agents();
    void abort_agents();
    void remove_finished_agents();
    void remove_aborted_agents();
    void restart_due_agents();
    /// @}

    [[nodiscard]] const Agents& get_agents() const { return agents; }
    [[nodiscard]] const std::string& gateway_id() const { return settings.gateway_id; }
    /// What the installers of the gateway's own agent get.
    [[nodiscard]] InstallerContext gateway_context() const;
    /// What an agent that is spawned gets from these and from the manager's own settings.
    [[nodiscard]] AgentSettings settings_for(const std::string& id,
                                             const hawkbit::Attributes& properties,
                                             const InstallerContext& context, bool dormant) const;

protected:
    /// @param loop_pause waits between two iterations. Other values than this are for unit tests.
    /// @param observer hears what the gateway's agent is doing if the settings say so; may be null
    explicit AgentManager(std::function<void()> loop_pause = sleep_one_second,
                          std::shared_ptr<StatusObserver> observer = nullptr);

    static void sleep_one_second();
    [[nodiscard]] bool is_bus_extended() const { return settings.bus_extended; }

    /// Starts the platform's own services, such as local control, before the loop begins.
    virtual void run_setup() = 0;

    /// Stops what run_setup() started. Called before the process is ended with agents left, when
    /// the manager's destructor does not run.
    virtual void run_teardown() {}

    /// The current controls of all agents, for threads other than the main one; never null.
    [[nodiscard]] std::shared_ptr<const AgentControls> controls() const {
        return published_controls.read();
    }

private:
    void run_loop();
    void run_iteration();
    void wind_down(unsigned iteration);
    void force_poll_after_reboot();
    void note_unfinished_work();
    void leave_poll_to_next_process();
    void publish_controls();

    AgentManagerSettings settings;
    Agents agents;
    common::Published<AgentControls> published_controls{AgentControls{}};
    std::vector<std::unique_ptr<DiscoveryHandler>> discovery_handlers;
    std::function<void()> pause;
    std::shared_ptr<StatusObserver> status_observer;
    /// Of the gateway's agent, when the end of the process began.
    bool has_unfinished_work = false;
};

}  // namespace zephran
