// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "agent/agent_status.h"
#include "common/published.h"
#include "hawkbit/attributes.h"
#include "hawkbit/messages/deployment_action.h"

namespace zephran {

/// The part of an agent that other threads can see and use. The agent publishes its state here for
/// local control and reads the requests of local control from here; neither waits for the other. It
/// may outlive its agent.
///
/// All functions are thread-safe; those of the second group are for the agent only.
class AgentControl {
public:
    using time_point = std::chrono::system_clock::time_point;

    /// @name For local control
    /// @{
    /// Makes the agent poll at the next opportunity, even a dormant one.
    void force_poll() { poll_forced = true; }
    /// Lets the deployment with this id start.
    void accept_deployment(const std::string& action_id) {
        accepted_deployment_.publish(action_id);
    }
    /// Has the deployment with this id not start before so many hours have passed, unless the
    /// server forces it or the user accepts it later.
    void postpone_deployment(const std::string& action_id, std::chrono::hours time) {
        if (accepted_deployment() == action_id) {
            accept_deployment("");
        }
        postponement.publish({action_id, time});
    }
    /// The attributes that the agent sends to the server; never null.
    [[nodiscard]] std::shared_ptr<const hawkbit::Attributes> attributes() const {
        return attributes_.read();
    }
    /// When the server was last asked for a deployment; zero before the first time.
    [[nodiscard]] time_point last_poll() const { return *last_poll_.read(); }
    /// The deployment that has been fetched but not started, or null.
    [[nodiscard]] std::shared_ptr<const hawkbit::DeploymentActionMessage> pending_deployment()
        const {
        return pending_deployment_.read();
    }
    /// What the agent is doing; never null. Without an observer it stays as it began.
    [[nodiscard]] std::shared_ptr<const AgentStatus> status() const { return status_.read(); }
    /// @}

    /// @name For the agent
    /// @{
    void set_status(AgentStatus status) { status_.publish(std::move(status)); }
    void set_attributes(const hawkbit::Attributes& attributes) { attributes_.publish(attributes); }
    void set_last_poll(time_point time) { last_poll_.publish(time); }
    void set_pending_deployment(hawkbit::DeploymentActionMessage action) {
        pending_deployment_.publish(std::move(action));
    }
    void drop_pending_deployment() { pending_deployment_.withdraw(); }
    [[nodiscard]] bool is_poll_forced() const { return poll_forced; }
    /// Returns whether a poll was forced, and clears the request.
    [[nodiscard]] bool take_forced_poll() { return poll_forced.exchange(false); }
    /// What was postponed, and for how long, since the last call; null if nothing was.
    [[nodiscard]] auto take_postponement() { return postponement.take(); }
    /// Id of the accepted deployment; empty if there is none.
    [[nodiscard]] std::string accepted_deployment() const { return *accepted_deployment_.read(); }
    /// @}

private:
    std::atomic<bool> poll_forced{false};
    common::Published<std::pair<std::string, std::chrono::hours>> postponement;
    common::Published<std::string> accepted_deployment_{std::string{}};
    common::Published<hawkbit::Attributes> attributes_{hawkbit::Attributes{}};
    common::Published<time_point> last_poll_{time_point{}};
    common::Published<hawkbit::DeploymentActionMessage> pending_deployment_;
    common::Published<AgentStatus> status_{AgentStatus{}};
};

/// The controls of all agents by agent id.
using AgentControls = std::map<std::string, std::shared_ptr<AgentControl>>;

}  // namespace zephran
