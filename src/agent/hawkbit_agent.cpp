// SPDX-License-Identifier: Apache-2.0
#include "agent/hawkbit_agent.h"

#include <utility>

#include "deployment/running_deployment.h"
#include "platform.h"

namespace zephran {

namespace {

constexpr const char* default_tenant = "DEFAULT";
constexpr bool always_https = true;
constexpr std::chrono::seconds default_polling_time{600};
constexpr std::chrono::hours longest_backoff{24};
constexpr std::chrono::minutes shortest_backoff{5};

}  // namespace

HawkbitAgent::Environment HawkbitAgent::Environment::real(const http::TransportSettings& transport,
                                                          hawkbit::Digest digest) {
    return {std::make_unique<hawkbit::Client>(transport, digest),
            [transport] {
                return http::Client{http::ClientImplementationType::curl, transport};
            },
            std::chrono::system_clock::now, std::chrono::steady_clock::now};
}

HawkbitAgent::HawkbitAgent(const std::string& server, const std::string& controller_id,
                           const http::TransportSettings& transport)
    : HawkbitAgent{
          hawkbit::ControllerURLBuilder{controller_id, server, default_tenant, always_https},
          Environment::real(transport)} {}

HawkbitAgent::HawkbitAgent(const hawkbit::ControllerURLBuilder& addresses, Environment environment)
    : AdvancingFSM{*this},
      client{std::move(environment.client)},
      make_http_client{std::move(environment.make_http_client)},
      now{std::move(environment.now)},
      backoff_timer{longest_backoff, shortest_backoff},
      unsent{[this](const UnsentReport& report) {
                 client->send_feedback(report.address, report.document);
             },
             now, common::BackoffTimer{longest_backoff, shortest_backoff}},
      status_log{std::move(environment.steady_now)} {
    controller.extract_from(addresses);
}

HawkbitAgent::~HawkbitAgent() = default;

void HawkbitAgent::configure(AgentSettings new_settings) {
    settings = std::move(new_settings);
    control_->set_attributes(settings.attributes);
    status_log.set_observer(settings.status_observer);
    if (settings.may_be_postponed) {
        postponement.load();
    }
    if (settings.reports.retries) {
        unsent.keep_in(ReportFile{controller.base(), platform::get_state_directory()});
    }
}

void HawkbitAgent::tick() {
    take_postponement();
    AdvancingFSM::tick();
    send_unsent_reports();
    if (deployment != nullptr) {
        tick_deployment();
    }
    show_status();
}

void HawkbitAgent::take_postponement() {
    const auto wish = control_->take_postponement();
    // A deployment that has started in the meantime can no longer wait.
    if (wish != nullptr && !is_deploying()) {
        postponement.set(wish->first, now() + wish->second);
    }
}

void HawkbitAgent::force_poll() {
    control_->force_poll();
    set_next_poll(now());
}

void HawkbitAgent::abort() {
    aborted = true;
    if (deployment != nullptr) {
        // The agent may live on before the cancellation has ended, which must not be reported.
        deployment->withdraw();
    }
}

void HawkbitAgent::live_on(AgentSettings new_settings) {
    if (!std::exchange(aborted, false)) {
        return;
    }
    // The server still knows the old ones.
    starting_up = starting_up || new_settings.attributes != settings.attributes;
    configure(std::move(new_settings));
}

void HawkbitAgent::stop() {
    if (is_deploying()) {
        deployment->deployer().prepare_stop();
    }
    abort();
}

bool HawkbitAgent::is_deploying() const {
    return deployment != nullptr && !deployment->has_ended();
}

bool HawkbitAgent::is_poll_due() const {
    return poll_deadline.is_reached(now());
}

void HawkbitAgent::reset_polling_time() {
    set_next_poll(now() + default_polling_time);
}

void HawkbitAgent::set_next_poll(time_point time) {
    controller.set_next_poll(time);
    note_next_poll();
}

void HawkbitAgent::note_next_poll() {
    poll_deadline = Deadline{next_poll(), now()};
}

long HawkbitAgent::epoch_seconds() const {
    return static_cast<long>(std::chrono::system_clock::to_time_t(now()));
}

}  // namespace zephran
