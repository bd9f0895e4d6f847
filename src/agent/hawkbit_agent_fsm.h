// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "agent/agent_status.h"
#include "fsm/fsm_rows.h"

namespace zephran::hawkbit_agent_fsm {

namespace events {
struct advance {};
struct error {};
struct exception {};
struct restart {};
}  // namespace events

using events::advance;
using events::error;
using events::exception;
using events::restart;
using fsm_rows::none;
using fsm_rows::Row;
using Shown = AgentStatus::State;

/// One polling cycle of one target, from the controller resource to the start of a deployment.
///
/// @tparam Owner provides the guards and actions named below
template <class Owner>
struct BasicFSMDef : fsm_rows::FrontEnd<BasicFSMDef<Owner>, Owner> {
    using fsm_rows::FrontEnd<BasicFSMDef<Owner>, Owner>::FrontEnd;

    /// A state in which a restart may start the next cycle although this one has not ended.
    struct WaitingState
        : fsm_rows::StateWithEntryAndExit<&Owner::enter_waiting, &Owner::leave_waiting> {};

    struct Init : fsm_rows::State {};
    struct RetrievingControllerStatus
        : fsm_rows::StateWithEntry<&Owner::enter_retrieving_controller_status> {};
    struct Backoff : fsm_rows::ShownState<Shown::backoff> {};
    struct SelectingControllerAction : fsm_rows::ShownState<Shown::polling> {};
    struct SendingConfigData : fsm_rows::State {};
    struct RetrievingCancelAction : fsm_rows::State {};
    struct StartingCancelAction : fsm_rows::State {};
    struct RetrievingDeploymentAction : fsm_rows::State {};
    struct WaitingOnUpdateSchedule : fsm_rows::ShownState<Shown::waiting_window, WaitingState> {};
    struct WaitingDeploymentDelay : fsm_rows::ShownState<Shown::waiting_delay, WaitingState> {};
    struct WaitingOnUserDecision : fsm_rows::ShownState<Shown::waiting_user, WaitingState> {};
    struct StartingDeploymentAction : fsm_rows::State {};
    struct Finished
        : fsm_rows::ShownState<Shown::idle, fsm_rows::StateWithEntryAndExit<
                                                &Owner::enter_finished, &Owner::leave_finished>> {};
    using initial_state = Init;

    using must_report_first = fsm_rows::Ask<&Owner::must_report_first>;
    using is_dormant = fsm_rows::Ask<&Owner::is_dormant>;
    using is_backoff_delay_elapsed = fsm_rows::Ask<&Owner::is_backoff_delay_elapsed>;
    using is_deployment_action_requested = fsm_rows::Ask<&Owner::is_deployment_action_requested>;
    using is_cancel_action_requested = fsm_rows::Ask<&Owner::is_cancel_action_requested>;
    using is_new_config_data_required = fsm_rows::Ask<&Owner::is_new_config_data_required>;
    using has_active_deployment = fsm_rows::Ask<&Owner::has_active_deployment>;
    using is_inside_update_schedule = fsm_rows::Ask<&Owner::is_inside_update_schedule>;
    using is_automatic_update_disabled = fsm_rows::Ask<&Owner::is_automatic_update_disabled>;
    using is_resumed_deployment = fsm_rows::Ask<&Owner::is_resumed_deployment>;
    using is_user_forced = fsm_rows::Ask<&Owner::is_user_forced>;
    using is_forced_deployment = fsm_rows::Ask<&Owner::is_forced_deployment>;
    using is_deployment_delay_elapsed = fsm_rows::Ask<&Owner::is_deployment_delay_elapsed>;

    using set_startup = fsm_rows::Tell<&Owner::set_startup>;
    using retrieve_controller_status = fsm_rows::Tell<&Owner::retrieve_controller_status>;
    using set_backoff_delay = fsm_rows::Tell<&Owner::set_backoff_delay>;
    using send_config_data = fsm_rows::Tell<&Owner::send_config_data>;
    using retrieve_cancel_action = fsm_rows::Tell<&Owner::retrieve_cancel_action>;
    using cancel_deployment_action = fsm_rows::Tell<&Owner::cancel_deployment_action>;
    using retrieve_deployment_action = fsm_rows::Tell<&Owner::retrieve_deployment_action>;
    using abort_deployment_action = fsm_rows::Tell<&Owner::abort_deployment_action>;
    using pick_deployment_delay = fsm_rows::Tell<&Owner::pick_deployment_delay>;
    using start_deployment_action = fsm_rows::Tell<&Owner::start_deployment_action>;
    using wait_and_retry = fsm_rows::Tell<&Owner::retry_later>;

    // The rows of one source and event are tried from the last to the first. A row from a state to
    // itself leaves the state and enters it again.
    // clang-format off
    using transition_table = fsm_rows::Table<
        Row<Init,                       advance,   RetrievingControllerStatus, set_startup,                none>,
        Row<Init,                       advance,   Init,                       none,                       must_report_first>,

        Row<RetrievingControllerStatus, advance,   SelectingControllerAction,  retrieve_controller_status, none>,
        Row<RetrievingControllerStatus, advance,   Finished,                   none,                       is_dormant>,
        Row<RetrievingControllerStatus, exception, Backoff,                    set_backoff_delay,          none>,
        Row<RetrievingControllerStatus, error,     Finished,                   none,                       none>,

        Row<Backoff,                    advance,   Backoff,                    none,                       none>,
        Row<Backoff,                    advance,   RetrievingControllerStatus, none,                       is_backoff_delay_elapsed>,

        Row<SelectingControllerAction,  advance,   Finished,                   abort_deployment_action,    none>,
        Row<SelectingControllerAction,  advance,   RetrievingDeploymentAction, none,                       is_deployment_action_requested>,
        Row<SelectingControllerAction,  advance,   RetrievingCancelAction,     none,                       is_cancel_action_requested>,
        Row<SelectingControllerAction,  advance,   SendingConfigData,          none,                       is_new_config_data_required>,

        Row<SendingConfigData,          advance,   RetrievingControllerStatus, send_config_data,           none>,
        Row<SendingConfigData,          exception, SendingConfigData,          wait_and_retry,             none>,
        Row<SendingConfigData,          error,     Finished,                   none,                       none>,

        Row<RetrievingCancelAction,     advance,   StartingCancelAction,       retrieve_cancel_action,     none>,
        Row<RetrievingCancelAction,     exception, RetrievingCancelAction,     wait_and_retry,             none>,
        Row<RetrievingCancelAction,     error,     Finished,                   none,                       none>,
        Row<RetrievingCancelAction,     error,     RetrievingDeploymentAction, none,                       is_deployment_action_requested>,

        Row<StartingCancelAction,       advance,   Finished,                   cancel_deployment_action,   none>,
        Row<StartingCancelAction,       exception, StartingCancelAction,       wait_and_retry,             none>,
        Row<StartingCancelAction,       error,     Finished,                   none,                       none>,

        Row<RetrievingDeploymentAction, advance,   WaitingOnUpdateSchedule,    retrieve_deployment_action, none>,
        Row<RetrievingDeploymentAction, advance,   Finished,                   none,                       has_active_deployment>,
        Row<RetrievingDeploymentAction, exception, RetrievingDeploymentAction, wait_and_retry,             none>,
        Row<RetrievingDeploymentAction, error,     Finished,                   none,                       none>,

        Row<WaitingOnUpdateSchedule,    advance,   WaitingOnUpdateSchedule,    none,                       none>,
        Row<WaitingOnUpdateSchedule,    advance,   WaitingDeploymentDelay,     pick_deployment_delay,      is_inside_update_schedule>,
        Row<WaitingOnUpdateSchedule,    advance,   WaitingOnUserDecision,      none,                       is_automatic_update_disabled>,
        Row<WaitingOnUpdateSchedule,    advance,   StartingDeploymentAction,   none,                       is_resumed_deployment>,
        Row<WaitingOnUpdateSchedule,    advance,   StartingDeploymentAction,   none,                       is_user_forced>,
        Row<WaitingOnUpdateSchedule,    advance,   StartingDeploymentAction,   none,                       is_forced_deployment>,
        Row<WaitingOnUpdateSchedule,    restart,   RetrievingControllerStatus, none,                       none>,
        Row<WaitingOnUpdateSchedule,    exception, WaitingOnUpdateSchedule,    wait_and_retry,             none>,
        Row<WaitingOnUpdateSchedule,    error,     Finished,                   none,                       none>,

        Row<WaitingDeploymentDelay,     advance,   WaitingDeploymentDelay,     none,                       none>,
        Row<WaitingDeploymentDelay,     advance,   StartingDeploymentAction,   none,                       is_deployment_delay_elapsed>,
        Row<WaitingDeploymentDelay,     advance,   StartingDeploymentAction,   none,                       is_user_forced>,
        Row<WaitingDeploymentDelay,     restart,   RetrievingControllerStatus, none,                       none>,
        Row<WaitingDeploymentDelay,     exception, WaitingDeploymentDelay,     wait_and_retry,             none>,
        Row<WaitingDeploymentDelay,     error,     Finished,                   none,                       none>,

        Row<WaitingOnUserDecision,      advance,   WaitingOnUserDecision,      none,                       none>,
        Row<WaitingOnUserDecision,      advance,   StartingDeploymentAction,   none,                       is_user_forced>,
        Row<WaitingOnUserDecision,      restart,   RetrievingControllerStatus, none,                       none>,
        Row<WaitingOnUserDecision,      exception, WaitingOnUserDecision,      wait_and_retry,             none>,
        Row<WaitingOnUserDecision,      error,     Finished,                   none,                       none>,

        Row<StartingDeploymentAction,   advance,   Finished,                   start_deployment_action,    none>,
        Row<StartingDeploymentAction,   exception, StartingDeploymentAction,   wait_and_retry,             none>,
        Row<StartingDeploymentAction,   error,     Finished,                   none,                       none>,

        Row<Finished,                   advance,   Finished,                   none,                       none>,
        Row<Finished,                   restart,   RetrievingControllerStatus, none,                       none>>;
    // clang-format on

    template <class Machine, class Event>
    void exception_caught(const Event& /*event*/, Machine& machine, std::exception& caught) {
        this->owner().exception_caught(caught);
        machine.process_event(exception{});
    }
};

}  // namespace zephran::hawkbit_agent_fsm
