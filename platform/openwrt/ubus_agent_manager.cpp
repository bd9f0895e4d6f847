// SPDX-License-Identifier: Apache-2.0
#include "openwrt/ubus_agent_manager.h"

#include <utility>

#include "common/json.h"
#include "common/logprint.h"
#include "openwrt/agent_documents.h"
#include "openwrt/status_notifier.h"
#include "ubus/message_text.h"

namespace zephran::platform::openwrt {

namespace {

constexpr const char* agent_id_argument = "agent_id";
constexpr const char* action_id_argument = "action_id";
constexpr const char* hours_argument = "hours";
constexpr const char* no_gateway_agent = "no gateway agent";

Json::Value outcome(bool success) {
    Json::Value document;
    document["success"] = success;
    return document;
}

Json::Value failure(const char* message) {
    Json::Value document = outcome(false);
    document["message"] = message;
    return document;
}

Json::Value arguments_of(blob_attr* message) {
    const std::optional<std::string> text = ubox::to_json_text(message);
    return text ? common::JSONDefaultParser{}(*text) : Json::Value{};
}

void send_json_response(ubus::UbusObject& object, ubus_request_data* request,
                        const Json::Value& value) {
    object.reply(request, value);
}

}  // namespace

UbusAgentManager::UbusAgentManager() : UbusAgentManager{{}, sleep_one_second} {}

UbusAgentManager::UbusAgentManager(ubus::UbusContext::Environment environment,
                                   std::function<void()> loop_pause)
    : UbusAgentManager{std::move(environment), std::move(loop_pause),
                       std::make_shared<StatusNotifier>()} {}

UbusAgentManager::UbusAgentManager(ubus::UbusContext::Environment environment,
                                   std::function<void()> loop_pause,
                                   const std::shared_ptr<StatusNotifier>& notifier)
    : AgentManager{std::move(loop_pause), notifier},
      bus{std::move(environment)},
      notifications{notifier->queue()} {}

void UbusAgentManager::run_setup() {
    const auto served_by = [this](auto handler) -> ubus::UbusObject::Handler {
        return [this, handler](ubus::UbusObject* called, ubus_request_data* request,
                               blob_attr* message) {
            return (this->*handler)(called, request, message);
        };
    };
    std::list<ubus::UbusObject::Method> methods{
        {"force_poll",
         served_by(&UbusAgentManager::handle_force_poll),
         {{agent_id_argument, BLOBMSG_TYPE_STRING}}},
        {"get_deployment", served_by(&UbusAgentManager::handle_get_deployment), {}},
        {"accept_deployment", served_by(&UbusAgentManager::handle_accept_deployment),
         is_bus_extended() ? ubus::ArgumentPolicy{{action_id_argument, BLOBMSG_TYPE_STRING}}
                           : ubus::ArgumentPolicy{}},
        {"get_agents", served_by(&UbusAgentManager::handle_get_agents), {}},
    };
    if (is_bus_extended()) {
        methods.emplace_back("postpone_deployment",
                             served_by(&UbusAgentManager::handle_postpone_deployment),
                             ubus::ArgumentPolicy{{hours_argument, BLOBMSG_TYPE_INT32}});
        methods.emplace_back("get_status", served_by(&UbusAgentManager::handle_get_status),
                             ubus::ArgumentPolicy{});
    }
    object = std::make_unique<ubus::UbusObject>("zephran", std::move(methods), bus);
    if (is_bus_extended()) {
        object->notify_from(notifications);
    }
    object->get_context().start_receiver();
}

int UbusAgentManager::handle_force_poll(ubus::UbusObject* called, ubus_request_data* request,
                                        blob_attr* message) {
    const std::optional<std::string> text = ubox::to_json_text(message);
    const bool success = text && force_polls(common::JSONDefaultParser{}(*text));
    send_json_response(*called, request, outcome(success));
    return UBUS_STATUS_OK;
}

bool UbusAgentManager::force_polls(const Json::Value& arguments) const {
    constexpr const char* function = "handle_force_poll";
    const auto present = controls();
    if (!arguments.isMember(agent_id_argument)) {
        for (const auto& agent : *present) {
            agent.second->force_poll();
        }
        ZLOG_INFO_AS(function, "event", "ubus", "method", "force_poll", "agent", "all");
        return true;
    }
    const Json::Value& id = arguments[agent_id_argument];
    const auto agent = present->find(id.asString());
    if (agent == present->end()) {
        ZLOG_ERROR_AS(function, "event", "ubus", "error", "no such agent", "agent", id);
        return false;
    }
    agent->second->force_poll();
    ZLOG_INFO_AS(function, "event", "ubus", "method", "force_poll", "agent", id);
    return true;
}

int UbusAgentManager::handle_get_deployment(ubus::UbusObject* called, ubus_request_data* request,
                                            blob_attr* /*message*/) {
    ZLOG_INFO("event", "ubus", "method", "get_deployment");
    const auto gateway = gateway_control();
    const auto detail = is_bus_extended() ? ChunkDetail::full : ChunkDetail::brief;
    send_json_response(
        *called, request,
        gateway == nullptr ? failure(no_gateway_agent) : deployment_document(*gateway, detail));
    return UBUS_STATUS_OK;
}

int UbusAgentManager::handle_accept_deployment(ubus::UbusObject* called, ubus_request_data* request,
                                               blob_attr* message) {
    ZLOG_INFO("event", "ubus", "method", "accept_deployment");
    send_json_response(*called, request,
                       accept(is_bus_extended() ? arguments_of(message) : Json::Value{}));
    return UBUS_STATUS_OK;
}

Json::Value UbusAgentManager::accept(const Json::Value& arguments) const {
    const auto gateway = gateway_control();
    const auto pending = gateway == nullptr ? nullptr : gateway->pending_deployment();
    if (pending == nullptr) {
        return failure(no_pending_deployment);
    }
    if (arguments.isMember(action_id_argument) &&
        arguments[action_id_argument].asString() != pending->id()) {
        return failure("another deployment is pending");
    }
    gateway->accept_deployment(pending->id());
    return outcome(true);
}

int UbusAgentManager::handle_postpone_deployment(ubus::UbusObject* called,
                                                 ubus_request_data* request, blob_attr* message) {
    ZLOG_INFO("event", "ubus", "method", "postpone_deployment");
    send_json_response(*called, request, postpone(arguments_of(message)));
    return UBUS_STATUS_OK;
}

Json::Value UbusAgentManager::postpone(const Json::Value& arguments) const {
    const auto gateway = gateway_control();
    const auto pending = gateway == nullptr ? nullptr : gateway->pending_deployment();
    if (pending == nullptr) {
        return failure(no_pending_deployment);
    }
    const Json::Value& hours = arguments[hours_argument];
    if (!hours.isInt() || hours.asInt() < 1 || hours.asInt() > Postponement::longest.count()) {
        return failure("hours must be a number from 1 to 168");
    }
    gateway->postpone_deployment(pending->id(), std::chrono::hours{hours.asInt()});
    return outcome(true);
}

int UbusAgentManager::handle_get_agents(ubus::UbusObject* called, ubus_request_data* request,
                                        blob_attr* /*message*/) {
    ZLOG_INFO("event", "ubus", "method", "get_agents");
    send_json_response(*called, request, agents_document(*controls()));
    return UBUS_STATUS_OK;
}

int UbusAgentManager::handle_get_status(ubus::UbusObject* called, ubus_request_data* request,
                                        blob_attr* /*message*/) {
    ZLOG_INFO("event", "ubus", "method", "get_status");
    const auto gateway = gateway_control();
    send_json_response(
        *called, request,
        gateway == nullptr ? failure(no_gateway_agent) : status_document(*gateway->status()));
    return UBUS_STATUS_OK;
}

std::shared_ptr<AgentControl> UbusAgentManager::gateway_control() const {
    const auto present = controls();
    const auto gateway = present->find(gateway_id());
    return gateway == present->end() ? nullptr : gateway->second;
}

}  // namespace zephran::platform::openwrt
