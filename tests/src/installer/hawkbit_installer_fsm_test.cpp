// SPDX-License-Identifier: Apache-2.0
#include "installer/hawkbit_installer_fsm.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/driven_machine.h"
#include "support/recording_owner.h"
#include "support/transition_table.h"

namespace zephran {
namespace {

using test::TransitionTable;
using testing::ElementsAre;

class RecordingInstaller : public test::RecordingOwner {
public:
    bool ask_installation_has_finished() { return ask("installation_has_finished"); }
    bool installation_has_timeout() { return ask(__func__); }
    bool ask_cancellation_has_finished() { return ask("cancellation_has_finished"); }

    void tell_check_artifact_count() { record("check_artifact_count"); }
    void tell_start_installation() { record("start_installation"); }
    void tell_cancel_installation() { record("cancel_installation"); }
    void fail_cancellation() { record(__func__); }

    void enter_finished() {
        record(__func__);
        finished = true;
    }
    void enter_cancelled() {
        record(__func__);
        cancelled = true;
    }
    void exception_caught(const std::exception& error, bool while_cancelling) {
        RecordingOwner::exception_caught(error);
        caught_while_cancelling.push_back(while_cancelling);
    }

    bool finished = false;
    bool cancelled = false;
    std::vector<bool> caught_while_cancelling;
};

using Machine =
    test::DrivenMachine<RecordingInstaller, hawkbit_installer_fsm::BasicFSMDef<RecordingInstaller>>;

const TransitionTable& table() {
    static const TransitionTable described{
        {{"Init", "", ""},
         {"Starting", "", ""},
         {"Installing", "", ""},
         {"Cancelling", "", ""},
         {"Finished", "enter_finished", ""},
         {"Cancelled", "enter_cancelled", ""}},
        {"advance", "cancel", "resume"},
        {{{"Init", "advance"}, {{"", "check_artifact_count", "Starting"}}},
         {{"Init", "cancel"}, {{"", "", "Cancelled"}}},
         {{"Init", "resume"}, {{"", "", "Installing"}}},
         {{"Starting", "advance"}, {{"", "start_installation", "Installing"}}},
         {{"Starting", "cancel"}, {{"", "", "Cancelled"}}},
         {{"Installing", "advance"},
          {{"installation_has_finished", "", "Finished"},
           {"installation_has_timeout", "", "Finished"},
           {"", "", "Installing"}}},
         {{"Installing", "cancel"}, {{"", "cancel_installation", "Cancelling"}}},
         {{"Cancelling", "advance"},
          {{"cancellation_has_finished", "", "Cancelled"}, {"", "", "Cancelling"}}},
         {{"Cancelling", "cancel"}, {{"", "", "Cancelling"}}},
         {{"Finished", "advance"}, {{"", "", "Finished"}}},
         {{"Finished", "cancel"}, {{"", "fail_cancellation", "Finished"}}},
         {{"Cancelled", "advance"}, {{"", "", "Cancelled"}}},
         {{"Cancelled", "cancel"}, {{"", "", "Cancelled"}}}},
        {{"Init", {}},
         {"Starting", {{"advance", {}}}},
         {"Installing", {{"advance", {}}, {"advance", {}}}},
         {"Cancelling", {{"resume", {}}, {"cancel", {}}}},
         {"Finished", {{"resume", {}}, {"advance", {"installation_has_finished"}}}},
         {"Cancelled", {{"cancel", {}}}}},
        "cancel"};
    return described;
}

std::unique_ptr<Machine> machine_in(const std::string& state) {
    namespace events = hawkbit_installer_fsm::events;
    using Backend = Machine::Backend;
    static const Machine::Events by_name{
        {"advance", [](Backend& machine) { machine.process_event(events::advance{}); }},
        {"cancel", [](Backend& machine) { machine.process_event(events::cancel{}); }},
        {"resume", [](Backend& machine) { machine.process_event(events::resume{}); }}};
    return std::make_unique<Machine>(table(), by_name, state);
}

void expect_flags_of_state(const Machine& machine) {
    EXPECT_EQ(machine.owner.finished, machine.state() == "Finished");
    EXPECT_EQ(machine.owner.cancelled, machine.state() == "Cancelled");
}

class InstallerFSMEvents : public testing::TestWithParam<TransitionTable::StateAndEvent> {};

TEST_P(InstallerFSMEvents, DoWhatTheTableSaysForAllGuardsAndFailures) {
    test::check_event(table(), GetParam(), machine_in, expect_flags_of_state);
}

INSTANTIATE_TEST_SUITE_P(EveryState, InstallerFSMEvents,
                         testing::ValuesIn(table().states_and_events()), test::event_in_state);

TEST(InstallerFSM, TimeLimitThatThrowsStartsTheCancellationWithinTheStep) {
    const auto machine = machine_in("Installing");
    machine->owner.failures["installation_has_timeout"] = 1;

    machine->send("advance");

    EXPECT_THAT(machine->owner.trace,
                ElementsAre("installation_has_finished", "installation_has_timeout",
                            "exception_caught", "cancel_installation"));
    EXPECT_EQ(machine->state(), "Cancelling");
    EXPECT_THAT(machine->owner.caught_while_cancelling, ElementsAre(false));
}

TEST(InstallerFSM, RefusedCancellationIsTriedOnceAndTheInstallationGoesOn) {
    const auto machine = machine_in("Installing");
    machine->owner.failures["cancel_installation"] = 1000;

    machine->send("cancel");

    EXPECT_THAT(machine->owner.trace, ElementsAre("cancel_installation", "exception_caught"));
    EXPECT_EQ(machine->state(), "Installing");
    EXPECT_THAT(machine->owner.caught_while_cancelling, ElementsAre(true));
}

TEST(InstallerFSM, CancelAfterTheEndFailsOnceAndTheEndStays) {
    const auto machine = machine_in("Finished");
    machine->owner.failures["fail_cancellation"] = 1000;

    machine->send("cancel");

    EXPECT_THAT(machine->owner.trace, ElementsAre("fail_cancellation", "exception_caught"));
    EXPECT_EQ(machine->state(), "Finished");
    EXPECT_THAT(machine->owner.caught_while_cancelling, ElementsAre(true));
}

TEST(InstallerFSM, EntryThatThrowsLeavesTheInstallationUnfinishedAndCancelsIt) {
    const auto machine = machine_in("Installing");
    machine->owner.answers["installation_has_finished"] = true;
    machine->owner.failures["enter_finished"] = 1;

    machine->send("advance");

    EXPECT_THAT(machine->owner.trace, ElementsAre("installation_has_finished", "enter_finished",
                                                  "exception_caught", "cancel_installation"));
    EXPECT_EQ(machine->state(), "Cancelling");
    EXPECT_FALSE(machine->owner.finished);
}

}  // namespace
}  // namespace zephran
