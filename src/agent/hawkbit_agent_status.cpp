// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <utility>

#include "agent/hawkbit_agent.h"
#include "deployment/running_deployment.h"
#include "installer/code_of.h"

namespace zephran {

namespace {

using State = AgentStatus::State;

State state_at(DeploymentStage stage) {
    switch (stage) {
        case DeploymentStage::downloading:
            return State::downloading;
        case DeploymentStage::verifying:
            return State::verifying;
        case DeploymentStage::installing:
            break;
    }
    return State::installing;
}

AgentStatus::Outcome outcome_of(const HawkbitDeployer& deployer) {
    using Outcome = AgentStatus::Outcome;
    if (deployer.error().has_error) {
        return Outcome::failure;
    }
    return deployer.is_finished() ? Outcome::success : Outcome::cancelled;
}

}  // namespace

void HawkbitAgent::exception_caught(const std::exception& error) {
    ZLOG_ERROR("event", "exception_caught", "action", "fsm_agent_event", "what", error.what());
    status_log.note_failure(now(), error.what(), code_of(error));
}

void HawkbitAgent::show_status() {
    if (status_log.is_wanted()) {
        control_->set_status(status_log.tell(compose_status()));
    }
}

void HawkbitAgent::note_end_of_deployment() {
    const HawkbitDeployer& deployer = deployment->deployer();
    if (deployment->has_failed_in_last_step()) {
        status_log.note_failure(now(), deployer.error().error_message, deployer.error().code);
    }
    if (deployment->has_ended()) {
        status_log.note_result(now(), deployer.action_id(), outcome_of(deployer));
    }
}

AgentStatus HawkbitAgent::compose_status() const {
    AgentStatus status;
    status.state = shown_state();
    status.counters = status_log.counters;
    if (deployment != nullptr) {
        status.counters.bytes += deployment->deployer().received();
    }
    describe_deployment(status);
    describe_waiting(status);
    return status;
}

State HawkbitAgent::shown_state() const {
    if (is_reporting || !unsent.empty()) {
        return State::reporting;
    }
    if (is_deploying()) {
        return state_at(deployment->deployer().stage());
    }
    const State state = status_log.machine_state;
    return state == State::idle && sleeps() ? State::dormant : state;
}

void HawkbitAgent::describe_deployment(AgentStatus& status) const {
    if (deployment == nullptr) {
        if (const auto pending = control_->pending_deployment()) {
            status.action_id = pending->id();
            status.chunks = static_cast<std::uint32_t>(pending->chunks().size());
        }
        return;
    }
    const HawkbitDeployer& deployer = deployment->deployer();
    status.action_id = deployer.action_id();
    status.chunks = deployer.chunk_count();
    if (const auto* const chunk = deployer.current_chunk()) {
        status.chunk = deployer.chunk_index() + 1;
        status.part = chunk->part();
        status.version = chunk->version();
    }
    const auto progress = deployer.download_progress();
    if (progress && status.state == State::downloading) {
        status.download = AgentStatus::Download{*progress, std::nullopt};
    }
}

void HawkbitAgent::describe_waiting(AgentStatus& status) const {
    if (status.state != State::polling && status.state != State::dormant) {
        status.next_poll = next_poll();
    }
    if (status.state == State::backoff) {
        status.backoff_until = backoff_end.when();
    } else if (!unsent.empty() && unsent.retry_time() > now()) {
        status.backoff_until = unsent.retry_time();
    }
    const bool waits_for_window = status.state == State::waiting_window;
    const bool waits_for_delay = status.state == State::waiting_delay;
    if (waits_for_window && settings.schedule) {
        const time_point opening = settings.schedule->next_window_start(now());
        if (opening != time_point::max()) {
            status.delay_until = opening;
        }
    } else if (waits_for_delay && settings.schedule) {
        status.delay_until = deployment_delay_until;
    }
    if (waits_for_window || waits_for_delay || status.state == State::waiting_user) {
        status.delay_until = std::max(status.delay_until, postponement.end(now()));
    }
}

}  // namespace zephran
