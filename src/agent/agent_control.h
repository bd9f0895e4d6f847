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
    void accept_deployment(const std::string& action_id) { accepted.publish(action_id); }
    /// What the agent tells the server about itself; never null.
    [[nodiscard]] std::shared_ptr<const hawkbit::Attributes> attributes() const {
        return own_attributes.read();
    }
    /// When the server was last asked for a deployment; zero before the first time.
    [[nodiscard]] time_point last_poll() const { return *deployment_poll.read(); }
    /// The deployment that has been fetched but not started, or null.
    [[nodiscard]] std::shared_ptr<const hawkbit::DeploymentActionMessage> pending_deployment()
        const {
        return pending.read();
    }
    /// @}

    /// @name For the agent
    /// @{
    void set_attributes(const hawkbit::Attributes& attributes) {
        own_attributes.publish(attributes);
    }
    void set_last_poll(time_point time) { deployment_poll.publish(time); }
    void set_pending_deployment(hawkbit::DeploymentActionMessage action) {
        pending.publish(std::move(action));
    }
    void drop_pending_deployment() { pending.withdraw(); }
    [[nodiscard]] bool is_poll_forced() const { return poll_forced; }
    /// Tells whether a poll was forced, and forgets it.
    [[nodiscard]] bool take_forced_poll() { return poll_forced.exchange(false); }
    /// Id of the accepted deployment; empty without one.
    [[nodiscard]] std::string accepted_deployment() const { return *accepted.read(); }
    /// @}

private:
    std::atomic<bool> poll_forced{false};
    common::Published<std::string> accepted{std::string{}};
    common::Published<hawkbit::Attributes> own_attributes{hawkbit::Attributes{}};
    common::Published<time_point> deployment_poll{time_point{}};
    common::Published<hawkbit::DeploymentActionMessage> pending;
};

/// Every agent's control by the agent's id.
using AgentControls = std::map<std::string, std::shared_ptr<AgentControl>>;

}  // namespace zephran
