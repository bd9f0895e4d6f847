// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "agent/hawkbit_agent.h"
#include "deployment/running_deployment.h"
#include "hawkbit/attribute_text.h"
#include "schedule/random_engine.h"
#include "schedule/whole_minutes.h"

namespace zephran {

void HawkbitAgent::enter_retrieving_controller_status() {
    note_state(sleeps() ? AgentStatus::State::dormant : AgentStatus::State::polling);
    reset_polling_time();
    control_->drop_pending_deployment();
}

void HawkbitAgent::set_startup() {
    ZLOG_INFO("event", "set_startup", "fsm", fsm_identity());
    starting_up = true;
}

void HawkbitAgent::retrieve_controller_status() {
    ZLOG_INFO("event", "retrieve_controller_status", "fsm", fsm_identity());
    ++status_log.counters.polls;
    const hawkbit::ControllerStatusMessage status = client->fetch_controller_status(controller);
    cancel_action_requested = status.cancel_action().has_value();
    config_data_requested = status.config_data().has_value();
    deployment_action_requested = status.deployment_base().has_value();
    controller.extract_from(status, now);
    note_next_poll();
    backoff_timer.reset();
    is_read_owed = starting_up || config_data_requested;
    is_cancel_owed = cancel_action_requested;
    is_deployment_read_owed = deployment_action_requested && !is_deploying();
    if (!deployment_action_requested) {
        control_->set_last_poll(now());
        remove_unwanted_partial_files({});
    }
}

void HawkbitAgent::set_backoff_delay() {
    ZLOG_INFO("event", "set_backoff_delay", "fsm", fsm_identity());
    ++status_log.counters.failed_polls;
    is_read_owed = true;
    const std::chrono::milliseconds delay = backoff_timer.next();
    const time_point current_time = now();
    backoff_end = Deadline{current_time + delay, current_time};
    set_next_poll(current_time + delay);
    ZLOG_WARNING("event", "backoff", "delay", delay);
}

void HawkbitAgent::send_config_data() {
    ZLOG_INFO("event", "send_config_data", "fsm", fsm_identity());
    hawkbit::CleanedAttributes cleaned = hawkbit::clean_attributes(settings.attributes);
    if (!attribute_changes_logged) {
        for (const hawkbit::AttributeChange& change : cleaned.changes) {
            ZLOG_WARNING("action", "send_config_data", "message", change.what, "key", change.key);
        }
        attribute_changes_logged = true;
    }
    hawkbit::ConfigDataFeedbackMessage message;
    message.data = std::move(cleaned.attributes);
    message.time = epoch_seconds();
    client->send_config_data(controller, message);
    starting_up = false;
    control_->force_poll();
}

void HawkbitAgent::retrieve_cancel_action() {
    ZLOG_INFO("event", "retrieve_cancel_action", "fsm", fsm_identity());
    const hawkbit::CancelActionMessage action = client->fetch_cancel_action(controller);
    cancel_action_id = action.id();
}

void HawkbitAgent::cancel_deployment_action() {
    ZLOG_INFO("event", "cancel_deployment_action", "fsm", fsm_identity());
    // The server has just answered.
    unsent.hurry();
    cancel_deployer();
    is_cancel_owed = false;
}

void HawkbitAgent::retrieve_deployment_action() {
    ZLOG_INFO("event", "retrieve_deployment_action", "fsm", fsm_identity());
    hawkbit::DeploymentActionMessage action = client->fetch_deployment_action(controller);
    remove_unwanted_partial_files(action.chunks());
    warn_of_notes(action);
    control_->set_pending_deployment(std::move(action));
    postponement.keep_only(control_->pending_deployment()->id());
    is_deployment_read_owed = false;
    control_->set_last_poll(now());
}

// Once: the server is asked again and again while a deployment waits.
void HawkbitAgent::warn_of_notes(const hawkbit::DeploymentActionMessage& action) {
    if (!settings.are_notes_told || action.notes_left_out() == 0 ||
        action.id() == warned_of_notes_of) {
        return;
    }
    warned_of_notes_of = action.id();
    ZLOG_WARNING("event", "metadata_left_out", "action_id", action.id(), "entries",
                 action.notes_left_out());
}

// Those of an action that was cancelled, or replaced, while no process of the daemon was there to
// delete them.
void HawkbitAgent::remove_unwanted_partial_files(const leftovers::Chunks& open_action) const {
    if (settings.downloads.resume && !is_deploying()) {
        leftovers::remove_unwanted(settings.context.download_folder, controller.base(),
                                   open_action);
    }
}

void HawkbitAgent::abort_deployment_action() {
    if (!is_deploying()) {
        return;
    }
    ZLOG_INFO("event", "abort_deployment_action", "fsm", fsm_identity());
    unsent.hurry();
    deployment->withdraw();
}

void HawkbitAgent::pick_deployment_delay() {
    ZLOG_INFO("event", "pick_deployment_delay", "fsm", fsm_identity());
    if (!settings.schedule) {
        ZLOG_INFO("event", "pick_deployment_delay", "action", "skipped");
        return;
    }
    const time_point current_time = now();
    if (deployment_window_start <= current_time) {
        // From now on the delay is one of the open window, also after the clock is set back.
        deployment_window_start = time_point{};
    }
    if (is_deployment_delay_valid(current_time)) {
        const auto left = whole_minutes(deployment_delay_until - current_time);
        ZLOG_INFO("event", "pick_deployment_delay", "action", "reusing delay", "delay_mins",
                  left.count());
        return;
    }
    draw_deployment_delay(current_time);
}

// A delay that ends after the window it was drawn for is left over from before the clock was set
// back.
bool HawkbitAgent::is_deployment_delay_valid(time_point current_time) const {
    const UpdateSchedule& schedule = *settings.schedule;
    const bool is_for_next_window = deployment_window_start > current_time;
    const time_point latest = schedule.window_end(
        is_for_next_window ? schedule.next_window_start(current_time) : current_time);
    return deployment_delay_until > current_time && deployment_delay_until <= latest;
}

void HawkbitAgent::draw_deployment_delay(time_point current_time) {
    auto engine = make_random_engine(
        static_cast<unsigned long long>(current_time.time_since_epoch().count()));
    const std::chrono::minutes delay = settings.schedule->pick_update_delay(engine, current_time);
    deployment_delay_until = current_time + delay;
    const UpdateSchedule& schedule = *settings.schedule;
    const bool is_for_next_window = deployment_delay_until > schedule.window_end(current_time);
    deployment_window_start =
        is_for_next_window ? schedule.next_window_start(current_time) : time_point{};
    ZLOG_INFO_AS("pick_deployment_delay", "event", "pick_deployment_delay", "delay_mins",
                 delay.count(), "until", deployment_delay_until);
}

void HawkbitAgent::start_deployment_action() {
    ZLOG_INFO("event", "start_deployment_action", "fsm", fsm_identity());
    if (control_->accepted_deployment() == any_deployment) {
        control_->accept_deployment("");
    }
    start_deployer();
}

void HawkbitAgent::retry_later() {
    constexpr std::uint32_t delay_in_ticks = 2;
    constexpr std::uint32_t retries = 1;
    ZLOG_INFO("event", "wait_and_retry", "fsm", fsm_identity());
    wait_and_retry(delay_in_ticks, retries);
}

}  // namespace zephran
