// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "agent/agent_control.h"
#include "agent/last_answers.h"
#include "agent/postponement.h"
#include "agent/status_log.h"
#include "agent/unsent_reports.h"
#include "common/exception.h"
#include "common/logprint.h"
#include "deployment/hawkbit_deployer.h"
#include "deployment/leftovers.h"
#include "fsm/advancing_fsm.h"
#include "hawkbit/attributes.h"
#include "hawkbit/client.h"
#include "installer/installer_context.h"
#include "options/report_options.h"
#include "options/service_options.h"
#include "schedule/backoff_timer.h"
#include "schedule/deadline.h"
#include "schedule/update_schedule.h"

namespace zephran {

class HawkbitAgent;
class RunningDeployment;
struct DeploymentReport;

namespace hawkbit_agent_fsm {
struct FSMDef;
namespace events {
struct advance;
struct error;
struct exception;
struct restart;
}  // namespace events
}  // namespace hawkbit_agent_fsm

struct DeploymentInProgressException : common::Exception {
    DeploymentInProgressException() : Exception{"A deployment is already in progress"} {}
};

/// The update server has refused the report that an installation starts.
struct ReportRefusedException : common::Exception {
    ReportRefusedException() : Exception{"The start of the installation could not be reported"} {}
};

/// What the agent manager gives a new agent.
struct AgentSettings {
    InstallerContext context;
    hawkbit::Attributes attributes;
    /// Without a schedule, deployments may start at any time.
    std::optional<UpdateSchedule> schedule;
    /// A dormant agent polls only when forced.
    bool dormant = false;
    DownloadOptions downloads{};
    AgentOptions options{};
    ReportOptions reports{};
    /// Whether local software may postpone a deployment.
    bool may_be_postponed = false;
    /// Whether local software is told what the server says about the chunks of a deployment.
    bool are_notes_told = false;
    /// Hears what the agent is doing; may be null.
    std::shared_ptr<StatusObserver> status_observer{};
};

/// One target of the update server: the gateway itself or a device behind it. It polls the server
/// in cycles, waits until a deployment may start, has a deployer carry it out and reports the
/// result.
class HawkbitAgent
    : public AdvancingFSM<hawkbit_agent_fsm::FSMDef, hawkbit_agent_fsm::events::error,
                          hawkbit_agent_fsm::events::advance, HawkbitAgent> {
public:
    using time_point = std::chrono::system_clock::time_point;

    /// What reaches outside. Other values than the daemon's own are for unit tests.
    struct Environment {
        /// The update server over HTTP, and the system's clock.
        /// @param digest the sum by which artifacts are verified
        static Environment real(const http::TransportSettings& transport,
                                hawkbit::Digest digest = hawkbit::Digest::md5);

        std::unique_ptr<hawkbit::ClientInterface> client;
        HawkbitDeployer::MakeHttpClient make_http_client;
        std::function<time_point()> now;
        StatusLog::SteadyClock steady_now = std::chrono::steady_clock::now;
    };

    /// Accepts the next deployment, whatever its id.
    static constexpr const char* any_deployment = "ANY";

    /// @param server host name or address of the update server, optionally with ":port"
    HawkbitAgent(const std::string& server, const std::string& controller_id,
                 const http::TransportSettings& transport = {});
    /// For another tenant than "DEFAULT".
    HawkbitAgent(const hawkbit::ControllerURLBuilder& addresses, Environment environment);
    ~HawkbitAgent() override;

    /// Called once, before the first tick.
    void configure(AgentSettings new_settings);

    /// One step of the polling cycle and of the running deployment. Throws what the client throws
    /// if a report cannot be delivered, unless such reports are to be sent again.
    void tick();
    /// Starts the next polling cycle if the agent is finished or waiting.
    void restart();
    /// Makes the agent poll at the next opportunity, even a dormant one.
    void force_poll();
    /// Gives up the agent: a running deployment is cancelled without a report.
    void abort();
    /// The same because the daemon ends: the next process may go on with a download.
    void stop();
    /// Takes abort() back, if there was one: the device has come back, perhaps with other
    /// properties or at another address. A deployment that abort() has cancelled stays cancelled.
    void live_on(AgentSettings new_settings);
    /// Lets the deployment with this id start, or any with any_deployment.
    void accept_deployment(const std::string& action_id) { control_->accept_deployment(action_id); }

    [[nodiscard]] bool is_finished() const { return finished; }
    [[nodiscard]] bool is_waiting() const { return waiting; }
    [[nodiscard]] bool is_aborted() const { return aborted; }
    [[nodiscard]] bool is_poll_forced() const { return control_->is_poll_forced(); }
    [[nodiscard]] bool is_deploying() const;
    /// Whether the server has not been told yet what it is to be told: a forced poll or what it
    /// found is still to be dealt with, or the last report of a deployment is still to be sent.
    [[nodiscard]] bool has_unfinished_work() const {
        return is_poll_forced() || is_poll_owed() || deployment != nullptr || !unsent.empty();
    }
    [[nodiscard]] time_point next_poll() const { return controller.next_poll(); }
    /// Whether the next poll has come, or is further away than when it was set: then the clock has
    /// been set back since.
    [[nodiscard]] bool is_poll_due() const;
    [[nodiscard]] const hawkbit::Attributes& attributes() const { return settings.attributes; }
    /// The part of this agent that other threads can use; never null.
    [[nodiscard]] const std::shared_ptr<AgentControl>& control() const { return control_; }

    /// @name Guards of the state machine
    /// @{
    [[nodiscard]] bool must_report_first();
    [[nodiscard]] bool is_dormant();
    [[nodiscard]] bool is_backoff_delay_elapsed();
    [[nodiscard]] bool is_deployment_action_requested();
    [[nodiscard]] bool is_cancel_action_requested();
    [[nodiscard]] bool is_new_config_data_required();
    [[nodiscard]] bool has_active_deployment();
    [[nodiscard]] bool is_inside_update_schedule();
    [[nodiscard]] bool is_automatic_update_disabled();
    [[nodiscard]] bool is_resumed_deployment();
    [[nodiscard]] bool is_user_forced();
    [[nodiscard]] bool is_forced_deployment();
    [[nodiscard]] bool is_deployment_delay_elapsed();
    /// @}

    /// @name Actions, entries and exits of the state machine
    /// @{
    void set_startup();
    void retrieve_controller_status();
    void set_backoff_delay();
    void send_config_data();
    void retrieve_cancel_action();
    void cancel_deployment_action();
    void retrieve_deployment_action();
    void abort_deployment_action();
    void pick_deployment_delay();
    void start_deployment_action();
    void retry_later();
    void enter_retrieving_controller_status();
    void enter_waiting() { waiting = true; }
    void leave_waiting() { waiting = false; }
    void enter_finished() { finished = true; }
    void leave_finished() { finished = false; }
    void note_state(AgentStatus::State state) { status_log.machine_state = state; }

    /// Logs an exception that a guard or an action threw.
    void exception_caught(const std::exception& error);
    /// @}

private:
    void show_status();
    void take_postponement();
    [[nodiscard]] AgentStatus compose_status() const;
    [[nodiscard]] AgentStatus::State shown_state() const;
    void describe_deployment(AgentStatus& status) const;
    void describe_waiting(AgentStatus& status) const;
    void note_end_of_deployment();
    [[nodiscard]] bool sleeps() const {
        return settings.dormant && !is_poll_owed() && !is_poll_forced();
    }
    void start_deployer();
    void cancel_deployer();
    void cancel_existing_deployer();
    void resume_deployer();
    void tick_deployment();
    void end_deployment();
    void forget_offer_of_ended_deployment();
    void forget_begin(const std::string& action_id) const;
    void warn_of_notes(const hawkbit::DeploymentActionMessage& action);
    void remove_unwanted_partial_files(const leftovers::Chunks& open_action) const;
    void reset_polling_time();
    void set_next_poll(time_point time);
    void note_next_poll();
    [[nodiscard]] bool is_poll_owed() const {
        return is_read_owed || is_cancel_owed || is_deployment_read_owed;
    }
    [[nodiscard]] bool is_deployment_delay_valid(time_point current_time) const;
    void draw_deployment_delay(time_point current_time);
    void deliver(const DeploymentReport& report);
    void send_unsent_reports();
    void give_up_installation(ReportFate fate_of_its_report);
    [[nodiscard]] bool is_held_by_report() const;
    [[nodiscard]] UnsentReport compose(const DeploymentReport& report) const;
    [[nodiscard]] hawkbit::DeploymentActionFeedbackMessage deployment_feedback(
        const DeploymentReport& report) const;
    [[nodiscard]] hawkbit::CancelActionFeedbackMessage cancel_feedback(
        const DeploymentReport& report) const;
    [[nodiscard]] std::optional<int> code_to_send(const DeploymentReport& report) const;
    [[nodiscard]] long epoch_seconds() const;
    /// Whether the line with this answer of a guard, or these two, is to be logged.
    [[nodiscard]] bool is_worth_a_line(const char* guard, bool answer, bool second = false) {
        return last_answers.is_news(guard, answer, second) || settings.options.log_repeats;
    }

    std::string cancel_action_id;
    bool aborted = false;
    AgentSettings settings;
    std::unique_ptr<hawkbit::ClientInterface> client;
    HawkbitDeployer::MakeHttpClient make_http_client;
    std::function<time_point()> now;
    hawkbit::Controller controller;
    std::shared_ptr<AgentControl> control_ = std::make_shared<AgentControl>();
    bool cancel_action_requested = false;
    bool config_data_requested = false;
    bool deployment_action_requested = false;
    std::unique_ptr<RunningDeployment> deployment;
    bool finished = false;
    bool waiting = false;
    bool starting_up = true;
    /// Even a dormant agent polls again while one of these holds: the last poll has failed, the
    /// attributes are still to be sent or a report was dropped, as its action has ended; a cancel
    /// action is still to be answered; a deployment is still to be read.
    bool is_read_owed = false;
    bool is_cancel_owed = false;
    bool is_deployment_read_owed = false;
    bool attribute_changes_logged = false;
    std::string warned_of_notes_of;
    LastAnswers last_answers;
    std::string unknown_message_logged_for;
    time_point deployment_delay_until{};
    /// When the window opens that the delay ends in; zero for one that was open already.
    time_point deployment_window_start{};
    common::BackoffTimer backoff_timer;
    UnsentReports unsent;
    Postponement postponement;
    StatusLog status_log;
    bool is_reporting = false;
    Deadline backoff_end;
    Deadline poll_deadline;
};

}  // namespace zephran
