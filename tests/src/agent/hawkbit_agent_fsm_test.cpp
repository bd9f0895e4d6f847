// SPDX-License-Identifier: Apache-2.0
#include "agent/hawkbit_agent_fsm.h"

#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/driven_machine.h"
#include "support/recording_owner.h"
#include "support/transition_table.h"

namespace zephran {
namespace {

using test::TransitionTable;
using testing::ElementsAre;

class RecordingAgent : public test::RecordingOwner {
public:
    bool must_report_first() { return ask(__func__); }
    bool is_dormant() { return ask(__func__); }
    bool is_backoff_delay_elapsed() { return ask(__func__); }
    bool is_deployment_action_requested() { return ask(__func__); }
    bool is_cancel_action_requested() { return ask(__func__); }
    bool is_new_config_data_required() { return ask(__func__); }
    bool has_active_deployment() { return ask(__func__); }
    bool is_inside_update_schedule() { return ask(__func__); }
    bool is_automatic_update_disabled() { return ask(__func__); }
    bool is_resumed_deployment() { return ask(__func__); }
    bool is_user_forced() { return ask(__func__); }
    bool is_forced_deployment() { return ask(__func__); }
    bool is_deployment_delay_elapsed() { return ask(__func__); }

    void set_startup() { record(__func__); }
    void retrieve_controller_status() { record(__func__); }
    void set_backoff_delay() { record(__func__); }
    void send_config_data() { record(__func__); }
    void retrieve_cancel_action() { record(__func__); }
    void cancel_deployment_action() { record(__func__); }
    void retrieve_deployment_action() { record(__func__); }
    void abort_deployment_action() { record(__func__); }
    void pick_deployment_delay() { record(__func__); }
    void start_deployment_action() { record(__func__); }
    void retry_later() { record("wait_and_retry"); }

    void enter_retrieving_controller_status() { record("enter_retrieving"); }
    void enter_waiting() {
        record(__func__);
        waiting = true;
    }
    void leave_waiting() {
        record(__func__);
        waiting = false;
    }
    void enter_finished() {
        record(__func__);
        finished = true;
    }
    void leave_finished() {
        record(__func__);
        finished = false;
    }

    bool waiting = false;
    bool finished = false;
};

using Machine = test::DrivenMachine<RecordingAgent, hawkbit_agent_fsm::BasicFSMDef<RecordingAgent>>;

const TransitionTable& table() {
    using Row = TransitionTable::Row;
    using Steps = std::vector<TransitionTable::Step>;
    static const Steps retrieving{{"advance", {}}};
    static const Steps selecting{{"advance", {}}, {"advance", {}}};
    const auto then = [](Steps steps, const Steps& more) {
        steps.insert(steps.end(), more.begin(), more.end());
        return steps;
    };
    static const Steps cancel = then(selecting, {{"advance", {"is_cancel_action_requested"}}});
    static const Steps deployment =
        then(selecting, {{"advance", {"is_deployment_action_requested"}}});
    static const Steps schedule = then(deployment, {{"advance", {}}});
    static const Row finish{"", "", "Finished"};
    static const std::vector<Row> restart{{"", "", "RetrievingControllerStatus"}};
    const auto retry_in = [](const std::string& state) {
        return std::vector<Row>{{"", "wait_and_retry", state}};
    };
    static const TransitionTable described{
        {{"Init", "", ""},
         {"RetrievingControllerStatus", "enter_retrieving", ""},
         {"Backoff", "", ""},
         {"SelectingControllerAction", "", ""},
         {"SendingConfigData", "", ""},
         {"RetrievingCancelAction", "", ""},
         {"StartingCancelAction", "", ""},
         {"RetrievingDeploymentAction", "", ""},
         {"WaitingOnUpdateSchedule", "enter_waiting", "leave_waiting"},
         {"WaitingDeploymentDelay", "enter_waiting", "leave_waiting"},
         {"WaitingOnUserDecision", "enter_waiting", "leave_waiting"},
         {"StartingDeploymentAction", "", ""},
         {"Finished", "enter_finished", "leave_finished"}},
        {"advance", "error", "exception", "restart"},
        {{{"Init", "advance"},
          {{"must_report_first", "", "Init"}, {"", "set_startup", "RetrievingControllerStatus"}}},
         {{"RetrievingControllerStatus", "advance"},
          {{"is_dormant", "", "Finished"},
           {"", "retrieve_controller_status", "SelectingControllerAction"}}},
         {{"RetrievingControllerStatus", "exception"}, {{"", "set_backoff_delay", "Backoff"}}},
         {{"RetrievingControllerStatus", "error"}, {finish}},
         {{"Backoff", "advance"},
          {{"is_backoff_delay_elapsed", "", "RetrievingControllerStatus"}, {"", "", "Backoff"}}},
         {{"SelectingControllerAction", "advance"},
          {{"is_new_config_data_required", "", "SendingConfigData"},
           {"is_cancel_action_requested", "", "RetrievingCancelAction"},
           {"is_deployment_action_requested", "", "RetrievingDeploymentAction"},
           {"", "abort_deployment_action", "Finished"}}},
         {{"SendingConfigData", "advance"},
          {{"", "send_config_data", "RetrievingControllerStatus"}}},
         {{"SendingConfigData", "exception"}, retry_in("SendingConfigData")},
         {{"SendingConfigData", "error"}, {finish}},
         {{"RetrievingCancelAction", "advance"},
          {{"", "retrieve_cancel_action", "StartingCancelAction"}}},
         {{"RetrievingCancelAction", "exception"}, retry_in("RetrievingCancelAction")},
         {{"RetrievingCancelAction", "error"},
          {{"is_deployment_action_requested", "", "RetrievingDeploymentAction"}, finish}},
         {{"StartingCancelAction", "advance"}, {{"", "cancel_deployment_action", "Finished"}}},
         {{"StartingCancelAction", "exception"}, retry_in("StartingCancelAction")},
         {{"StartingCancelAction", "error"}, {finish}},
         {{"RetrievingDeploymentAction", "advance"},
          {{"has_active_deployment", "", "Finished"},
           {"", "retrieve_deployment_action", "WaitingOnUpdateSchedule"}}},
         {{"RetrievingDeploymentAction", "exception"}, retry_in("RetrievingDeploymentAction")},
         {{"RetrievingDeploymentAction", "error"}, {finish}},
         {{"WaitingOnUpdateSchedule", "advance"},
          {{"is_forced_deployment", "", "StartingDeploymentAction"},
           {"is_user_forced", "", "StartingDeploymentAction"},
           {"is_resumed_deployment", "", "StartingDeploymentAction"},
           {"is_automatic_update_disabled", "", "WaitingOnUserDecision"},
           {"is_inside_update_schedule", "pick_deployment_delay", "WaitingDeploymentDelay"},
           {"", "", "WaitingOnUpdateSchedule"}}},
         {{"WaitingOnUpdateSchedule", "restart"}, restart},
         {{"WaitingOnUpdateSchedule", "exception"}, retry_in("WaitingOnUpdateSchedule")},
         {{"WaitingOnUpdateSchedule", "error"}, {finish}},
         {{"WaitingDeploymentDelay", "advance"},
          {{"is_user_forced", "", "StartingDeploymentAction"},
           {"is_deployment_delay_elapsed", "", "StartingDeploymentAction"},
           {"", "", "WaitingDeploymentDelay"}}},
         {{"WaitingDeploymentDelay", "restart"}, restart},
         {{"WaitingDeploymentDelay", "exception"}, retry_in("WaitingDeploymentDelay")},
         {{"WaitingDeploymentDelay", "error"}, {finish}},
         {{"WaitingOnUserDecision", "advance"},
          {{"is_user_forced", "", "StartingDeploymentAction"}, {"", "", "WaitingOnUserDecision"}}},
         {{"WaitingOnUserDecision", "restart"}, restart},
         {{"WaitingOnUserDecision", "exception"}, retry_in("WaitingOnUserDecision")},
         {{"WaitingOnUserDecision", "error"}, {finish}},
         {{"StartingDeploymentAction", "advance"}, {{"", "start_deployment_action", "Finished"}}},
         {{"StartingDeploymentAction", "exception"}, retry_in("StartingDeploymentAction")},
         {{"StartingDeploymentAction", "error"}, {finish}},
         {{"Finished", "advance"}, {finish}},
         {{"Finished", "restart"}, restart}},
        {{"Init", {}},
         {"RetrievingControllerStatus", retrieving},
         {"Backoff", then(retrieving, {{"exception", {}}})},
         {"SelectingControllerAction", selecting},
         {"SendingConfigData", then(selecting, {{"advance", {"is_new_config_data_required"}}})},
         {"RetrievingCancelAction", cancel},
         {"StartingCancelAction", then(cancel, {{"advance", {}}})},
         {"RetrievingDeploymentAction", deployment},
         {"WaitingOnUpdateSchedule", schedule},
         {"WaitingDeploymentDelay", then(schedule, {{"advance", {"is_inside_update_schedule"}}})},
         {"WaitingOnUserDecision", then(schedule, {{"advance", {"is_automatic_update_disabled"}}})},
         {"StartingDeploymentAction", then(schedule, {{"advance", {"is_forced_deployment"}}})},
         {"Finished", then(selecting, {{"advance", {}}})}},
        "exception",
        true};
    return described;
}

std::unique_ptr<Machine> machine_in(const std::string& state) {
    namespace events = hawkbit_agent_fsm::events;
    using Backend = Machine::Backend;
    static const Machine::Events by_name{
        {"advance", [](Backend& machine) { machine.process_event(events::advance{}); }},
        {"error", [](Backend& machine) { machine.process_event(events::error{}); }},
        {"exception", [](Backend& machine) { machine.process_event(events::exception{}); }},
        {"restart", [](Backend& machine) { machine.process_event(events::restart{}); }}};
    return std::make_unique<Machine>(table(), by_name, state);
}

void expect_flags_of_state(const Machine& machine) {
    EXPECT_EQ(machine.owner.waiting, machine.state() == "WaitingOnUpdateSchedule" ||
                                         machine.state() == "WaitingDeploymentDelay" ||
                                         machine.state() == "WaitingOnUserDecision");
    EXPECT_EQ(machine.owner.finished, machine.state() == "Finished");
}

class AgentFSMEvents : public testing::TestWithParam<TransitionTable::StateAndEvent> {};

TEST_P(AgentFSMEvents, DoWhatTheTableSaysForAllGuardsAndFailures) {
    test::check_event(table(), GetParam(), machine_in, expect_flags_of_state);
}

INSTANTIATE_TEST_SUITE_P(EveryState, AgentFSMEvents, testing::ValuesIn(table().states_and_events()),
                         test::event_in_state);

class AgentFSMStates : public testing::TestWithParam<int> {};

TEST_P(AgentFSMStates, AreNumberedInTheOrderOfTheLogLines) {
    const std::string& name = table().states.at(static_cast<std::size_t>(GetParam())).name;

    EXPECT_EQ(machine_in(name)->state_id(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(All, AgentFSMStates, testing::Range(0, 13));

TEST(AgentFSM, FailedControllerReadBacksOffWithoutUsingARetry) {
    const auto machine = machine_in("RetrievingControllerStatus");
    machine->owner.failures["retrieve_controller_status"] = 1;

    machine->send("advance");

    EXPECT_THAT(machine->owner.trace, ElementsAre("is_dormant", "retrieve_controller_status",
                                                  "exception_caught", "set_backoff_delay"));
    EXPECT_EQ(machine->state(), "Backoff");
}

TEST(AgentFSM, FailedSendingIsRetriedInTheSameStateWithinTheStep) {
    const auto machine = machine_in("SendingConfigData");
    machine->owner.failures["send_config_data"] = 1;

    machine->send("advance");

    EXPECT_THAT(machine->owner.trace,
                ElementsAre("send_config_data", "exception_caught", "wait_and_retry"));
    EXPECT_EQ(machine->state(), "SendingConfigData");
}

TEST(AgentFSM, ThrowingGuardKeepsTheAgentWaiting) {
    const auto machine = machine_in("WaitingOnUpdateSchedule");
    machine->owner.failures["is_automatic_update_disabled"] = 1;

    machine->send("advance");

    EXPECT_THAT(machine->owner.trace,
                ElementsAre("is_forced_deployment", "is_user_forced", "is_resumed_deployment",
                            "is_automatic_update_disabled", "exception_caught", "leave_waiting",
                            "wait_and_retry", "enter_waiting"));
    EXPECT_EQ(machine->state(), "WaitingOnUpdateSchedule");
    EXPECT_TRUE(machine->owner.waiting);
}

TEST(AgentFSM, ThrowWhileSelectingChangesNothing) {
    const auto machine = machine_in("SelectingControllerAction");
    machine->owner.failures["abort_deployment_action"] = 1;

    machine->send("advance");

    EXPECT_EQ(machine->owner.trace.back(), "exception_caught");
    EXPECT_EQ(machine->state(), "SelectingControllerAction");
}

}  // namespace
}  // namespace zephran
