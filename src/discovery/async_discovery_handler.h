// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <set>
#include <string>
#include <vector>

#include "discovery_handler.h"
#include "hawkbit/attributes.h"
#include "installer/installer_context.h"

namespace zephran::discovery {

/// Looks for adapters on a worker thread, one pass at a time, and passes the results to the agent
/// manager on the main thread. Beside the stop request, the future of the pass is the only
/// synchronisation: while it runs, the main thread does not touch anything that the pass uses.
class AsyncDiscoveryHandler : public DiscoveryHandler {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// The longest time that one tick waits for a pass.
    static constexpr std::chrono::milliseconds longest_wait{100};
    /// Adapters beyond these get no agent. One whose agent is being given up still counts.
    static constexpr std::size_t most_agents = 128;

    /// @param period_between_passes from the end of one pass to the start of the next; the first
    ///                              pass starts one period after construction
    /// @param current_time          Other values than this are for unit tests.
    /// @param is_failure_fatal      whether tick() throws what a pass threw
    explicit AsyncDiscoveryHandler(std::chrono::milliseconds period_between_passes,
                                   Clock current_time = std::chrono::steady_clock::now,
                                   bool is_failure_fatal = true);

    void setup(AgentManager* agent_manager) override { manager = agent_manager; }
    /// Applies the results of a finished pass, and starts a pass that is due. One for which the
    /// system has no thread to spare has failed.
    /// @throws what the pass threw, if that is fatal; otherwise it is logged, and what the pass had
    ///         requested before is applied
    void tick() override;
    /// One pass. It runs on the worker thread and reaches the manager only through the two requests
    /// below.
    virtual void discover_once() = 0;

protected:
    /// @name Requests of a pass
    /// @{
    /// Whether another agent may be requested.
    [[nodiscard]] bool has_room() const { return taken_places.size() < most_agents; }
    void spawn_agent(const std::string& id, const hawkbit::Attributes& properties,
                     const InstallerContext& context);
    void abort_agent(const std::string& id);
    /// @}

    /// Set once nobody is interested in the pass any more. Whatever it waits for must end then.
    [[nodiscard]] const std::atomic<bool>& stop_request() const { return stop_requested; }

    /// Sets the stop request, waits for the end of a running pass and ignores its result,
    /// exceptions included. The class that implements discover_once() must call this in its
    /// destructor.
    void discard_pass() noexcept;

private:
    struct SpawnRequest {
        InstallerContext context;
        hawkbit::Attributes properties;
        std::string id;
    };

    [[nodiscard]] bool pass_has_ended() const;
    void apply_pass();
    void end_pass();
    void count_taken_places();
    void start_pass_when_due();

    /// Ids of the agents that there were at the start of the pass or that it has requested.
    std::set<std::string> taken_places;
    std::vector<SpawnRequest> pending_spawns;
    std::future<void> discovery;
    std::vector<std::string> pending_aborts;
    std::atomic<bool> stop_requested{false};
    Clock now;
    std::chrono::steady_clock::time_point last_discover;
    std::chrono::milliseconds period;
    bool failure_is_fatal;
    AgentManager* manager = nullptr;
};

}  // namespace zephran::discovery
