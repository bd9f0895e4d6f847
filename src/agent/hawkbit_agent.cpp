#include "agent/hawkbit_agent.h"

#include <utility>

#include "deployment/action_message.h"
#include "deployment/deployment_history.h"
#include "deployment/running_deployment.h"
#include "hawkbit/detail_text.h"
#include "installer/installer_factory.h"
#include "platform.h"

namespace zephran {

namespace {

constexpr const char* tenant = "DEFAULT";
constexpr bool always_https = true;
constexpr std::chrono::seconds default_polling_time{600};
constexpr std::chrono::hours longest_backoff{24};
constexpr std::chrono::minutes shortest_backoff{5};

}  // namespace

HawkbitAgent::Surroundings HawkbitAgent::Surroundings::real(
    const http::TransportSettings& transport) {
    return {std::make_unique<hawkbit::Client>(transport),
            [transport] {
                return http::Client{http::ClientImplementationType::curl, transport};
            },
            std::chrono::system_clock::now};
}

HawkbitAgent::HawkbitAgent(const std::string& server, const std::string& controller_id,
                           const http::TransportSettings& transport)
    : HawkbitAgent{server, controller_id, Surroundings::real(transport)} {}

HawkbitAgent::HawkbitAgent(const std::string& server, const std::string& controller_id,
                           Surroundings surroundings)
    : AdvancingFSM{*this},
      client{std::move(surroundings.client)},
      make_http_client{std::move(surroundings.make_http_client)},
      now{std::move(surroundings.now)},
      backoff_timer{longest_backoff, shortest_backoff} {
    controller.extract_from(
        hawkbit::ControllerURLBuilder{controller_id, server, tenant, always_https});
}

HawkbitAgent::~HawkbitAgent() = default;

void HawkbitAgent::configure(AgentSettings new_settings) {
    settings = std::move(new_settings);
    shared_control->set_attributes(settings.attributes);
}

void HawkbitAgent::tick() {
    AdvancingFSM::tick();
    if (deployment != nullptr) {
        tick_deployment();
    }
}

void HawkbitAgent::force_poll() {
    shared_control->force_poll();
    controller.set_next_poll(now());
}

void HawkbitAgent::abort() {
    aborted = true;
    if (deployment != nullptr) {
        deployment->deployer().cancel();
    }
}

bool HawkbitAgent::is_deploying() const {
    return deployment != nullptr && !deployment->has_ended();
}

void HawkbitAgent::tick_deployment() {
    const auto report = deployment->step();
    if (report && report->recipient == DeploymentReport::Recipient::deployment) {
        send_deployment_feedback(*report);
    } else if (report && !aborted) {
        send_cancel_feedback(report->result, report->details);
    }
    if (deployment->deployer().is_finished() && deployment->deployer().is_resumed()) {
        force_poll();
    }
    if (deployment->has_failed_in_last_step() || deployment->has_ended()) {
        platform::recover_download();
    }
    if (deployment->has_ended()) {
        forget_offer_of_ended_deployment();
        deployment.reset();
    }
}

void HawkbitAgent::forget_offer_of_ended_deployment() {
    // Reading a closed action again would turn its record on the server from finished to retrieved.
    if (deployment->was_fetched_from(controller.deployment_base())) {
        controller.forget_deployment();
        deployment_action_requested = false;
    }
}

void HawkbitAgent::start_deployer() {
    if (is_deploying()) {
        BOOST_THROW_EXCEPTION(DeploymentInProgressException{});
    }
    hawkbit::DeploymentActionMessage action = *shared_control->pending_deployment();
    action.replace_chunks(InstallerFactory::reorder_chunks(action.chunks()));
    const bool is_interrupted = deployment_history::holds_own_report(action.action_history());

    deployment = std::make_unique<RunningDeployment>(
        std::make_unique<HawkbitDeployer>(settings.attributes, std::move(action), settings.context,
                                          make_http_client),
        controller);
    if (is_interrupted) {
        resume_deployer();
    }
    shared_control->drop_pending_deployment();
}

void HawkbitAgent::resume_deployer() {
    try {
        deployment->deployer().resume();
    } catch (const std::exception& error) {
        ZLOG_ERROR("event", "exception_caught", "action", "resume_deployment", "what",
                   boost::diagnostic_information(error));
    }
}

void HawkbitAgent::cancel_deployer() {
    if (deployment == nullptr) {
        send_cancel_feedback(hawkbit::ActionFeedbackMessage::FinalResult::success,
                             {to_string(ActionMessage::DeploymentNotRunning)});
    } else {
        cancel_existing_deployer();
    }
}

void HawkbitAgent::cancel_existing_deployer() {
    try {
        deployment->deployer().cancel();
    } catch (const std::exception& error) {
        ZLOG_ERROR("event", "exception_caught", "action", "cancel_existing_deployer", "what",
                   boost::diagnostic_information(error), "message",
                   "forcibly getting rid of deployer");
        deployment.reset();
        BOOST_THROW_EXCEPTION(std::exception{});
    }
}

void HawkbitAgent::reset_polling_time() {
    controller.set_next_poll(now() + default_polling_time);
}

void HawkbitAgent::send_deployment_feedback(const DeploymentReport& report) const {
    hawkbit::DeploymentActionFeedbackMessage message;
    message.id = deployment->deployer().action_id();
    message.execution = report.execution;
    message.result = report.result;
    message.progress_count = deployment->deployer().chunk_index();
    message.progress_of = deployment->deployer().chunk_count();
    message.details = hawkbit::clean_details(report.details);
    message.time = epoch_seconds();
    client->send_deployment_action_feedback(deployment->address(), message);
}

void HawkbitAgent::send_cancel_feedback(hawkbit::ActionFeedbackMessage::FinalResult result,
                                        const std::vector<std::string>& details) const {
    hawkbit::CancelActionFeedbackMessage message;
    message.id = cancel_action_id;
    message.execution = hawkbit::ActionFeedbackMessage::ExecutionStatus::closed;
    message.result = result;
    message.details = hawkbit::clean_details(details);
    message.time = epoch_seconds();
    client->send_cancel_action_feedback(controller, message);
}

long HawkbitAgent::epoch_seconds() const {
    return static_cast<long>(std::chrono::system_clock::to_time_t(now()));
}

}  // namespace zephran
