#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "common/published.h"
#include "hawkbit/attributes.h"
#include "hawkbit/messages/deployment_action.h"

namespace zephran {

/// What other threads see of an agent and may ask of it. An agent publishes here what local control
/// shows, and finds here what local control wants; neither waits for the other. It outlives its
/// agent while somebody still holds it.
///
/// Every function may be called on every thread; those of the second group are the agent's own.
class AgentControl {
public:
    using time_point = std::chrono::system_clock::time_point;

    /// @name For local control
    /// @{
    /// Polls at the next occasion, dormant or not.
    void force_poll() { poll_forced = true; }
    /// Lets the deployment with this id start.
    void accept_deployment(const std::string& action_id) {
        accepted_deployment_.publish(action_id);
    }
    /// What the agent tells the server about itself; never null.
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
    /// @}

    /// @name For the agent
    /// @{
    void set_attributes(const hawkbit::Attributes& attributes) { attributes_.publish(attributes); }
    void set_last_poll(time_point time) { last_poll_.publish(time); }
    void set_pending_deployment(hawkbit::DeploymentActionMessage action) {
        pending_deployment_.publish(std::move(action));
    }
    void drop_pending_deployment() { pending_deployment_.withdraw(); }
    [[nodiscard]] bool is_poll_forced() const { return poll_forced; }
    /// Tells whether a poll was forced, and forgets it.
    [[nodiscard]] bool take_forced_poll() { return poll_forced.exchange(false); }
    /// Id of the accepted deployment; empty without one.
    [[nodiscard]] std::string accepted_deployment() const { return *accepted_deployment_.read(); }
    /// @}

private:
    std::atomic<bool> poll_forced{false};
    common::Published<std::string> accepted_deployment_{std::string{}};
    common::Published<hawkbit::Attributes> attributes_{hawkbit::Attributes{}};
    common::Published<time_point> last_poll_{time_point{}};
    common::Published<hawkbit::DeploymentActionMessage> pending_deployment_;
};

/// Every agent's control by the agent's id.
using AgentControls = std::map<std::string, std::shared_ptr<AgentControl>>;

}  // namespace zephran
