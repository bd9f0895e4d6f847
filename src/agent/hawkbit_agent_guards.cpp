// SPDX-License-Identifier: Apache-2.0
#include "agent/hawkbit_agent.h"
#include "deployment/deployment_history.h"
#include "platform.h"
#include "store/device_store.h"

namespace zephran {

bool HawkbitAgent::is_dormant() {
    // This consumes the forced poll, so that a dormant agent reads successfully exactly once.
    const bool is_forced = control_->take_forced_poll();
    if (is_forced) {
        unsent.hurry();
    }
    const bool status = !is_forced && !is_poll_owed() && settings.dormant;
    if (is_worth_a_line(__func__, status)) {
        ZLOG_INFO("event", "is_dormant", "status", status);
    }
    return status;
}

bool HawkbitAgent::is_backoff_delay_elapsed() {
    const bool status = control_->is_poll_forced() || backoff_end.is_past(now());
    if (is_worth_a_line(__func__, status)) {
        ZLOG_INFO("event", "is_backoff_delay_elapsed", "status", status);
    }
    return status;
}

bool HawkbitAgent::is_deployment_action_requested() {
    if (is_worth_a_line(__func__, deployment_action_requested)) {
        ZLOG_DEBUG("event", "is_deployment_action_requested", "deployment_action_requested",
                   deployment_action_requested);
    }
    return deployment_action_requested;
}

bool HawkbitAgent::is_cancel_action_requested() {
    if (is_worth_a_line(__func__, cancel_action_requested)) {
        ZLOG_DEBUG("event", "is_cancel_action_requested", "cancel_action_requested",
                   cancel_action_requested);
    }
    return cancel_action_requested;
}

bool HawkbitAgent::is_new_config_data_required() {
    if (is_worth_a_line(__func__, starting_up, config_data_requested)) {
        ZLOG_DEBUG("event", "is_new_config_data_required", "starting_up", starting_up,
                   "config_data_requested", config_data_requested);
    }
    return starting_up || config_data_requested;
}

bool HawkbitAgent::has_active_deployment() {
    // Until the server has taken the closing report it goes on offering the deployment that has
    // ended. The offer may also have gone since this cycle decided to fetch it: its deployment has
    // ended.
    const bool status = is_deploying() || !unsent.empty();
    if (is_worth_a_line(__func__, status)) {
        ZLOG_INFO("event", "has_active_deployment", "status", status);
    }
    return status || !deployment_action_requested;
}

bool HawkbitAgent::is_inside_update_schedule() {
    const bool inside = !settings.schedule || settings.schedule->is_allowed_on(now());
    if (is_worth_a_line(__func__, inside)) {
        ZLOG_INFO("event", "is_inside_update_schedule", "inside", inside);
    }
    return inside;
}

bool HawkbitAgent::is_automatic_update_disabled() {
    DeviceStore store{*platform::get_config()};
    const bool status =
        !store.is_automatic_update_enabled({"is_automatic_update_disabled", "event"});
    if (is_worth_a_line(__func__, status)) {
        ZLOG_INFO("event", "is_automatic_update_disabled", "status", status);
    }
    return status;
}

bool HawkbitAgent::is_resumed_deployment() {
    const auto deployment_action = control_->pending_deployment();
    const auto& history = deployment_action->action_history();
    const bool is_interrupted =
        deployment_history::ends_with_installation_started(history, deployment_action->chunks());
    const bool is_gateway = hawkbit::is_gateway(settings.attributes);
    const bool status = is_interrupted && is_gateway;
    if (is_gateway && !is_interrupted && deployment_history::has_unknown_message_on_top(history) &&
        unknown_message_logged_for != deployment_action->id()) {
        ZLOG_WARNING("event", "is_resumed_deployment", "message", "unknown action message");
        unknown_message_logged_for = deployment_action->id();
    }
    if (is_worth_a_line(__func__, status)) {
        ZLOG_INFO("event", "is_resumed_deployment", "status", status);
    }
    return status;
}

bool HawkbitAgent::is_user_forced() {
    const std::string accepted = control_->accepted_deployment();
    const bool is_this_one = !accepted.empty() && accepted == control_->pending_deployment()->id();
    const bool status = is_this_one || accepted == any_deployment;
    if (is_worth_a_line(__func__, status)) {
        ZLOG_INFO("event", "is_user_forced", "status", status);
    }
    return status;
}

bool HawkbitAgent::is_forced_deployment() {
    const bool status = control_->pending_deployment()->forced();
    if (is_worth_a_line(__func__, status)) {
        ZLOG_INFO("event", "is_forced_deployment", "status", status);
    }
    return status;
}

bool HawkbitAgent::is_deployment_delay_elapsed() {
    const time_point current_time = now();
    const bool has_elapsed = !postponement.end(current_time) &&
                             (!settings.schedule || deployment_delay_until < current_time);
    // The clock may have been set forward, past the end of the window.
    const bool status =
        has_elapsed && (!settings.schedule || settings.schedule->is_allowed_on(current_time));
    if (is_worth_a_line(__func__, status)) {
        ZLOG_INFO("event", "is_deployment_delay_elapsed", "status", status);
    }
    if (has_elapsed && !status) {
        draw_deployment_delay(current_time);
    }
    return status;
}

}  // namespace zephran
