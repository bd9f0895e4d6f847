// SPDX-License-Identifier: Apache-2.0
#include "deployment/hawkbit_deployer_fsm.h"

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

class RecordingDeployer : public test::RecordingOwner {
public:
    bool owns_files() { return ask(__func__); }
    bool chunks_left() { return ask(__func__); }
    bool artifacts_left() { return ask(__func__); }
    bool artifact_arrived() { return ask(__func__); }
    bool installer_done() { return ask(__func__); }
    bool chunk_already_installed() { return ask(__func__); }

    void select_next_chunk() { record(__func__); }
    void select_next_artifact() { record(__func__); }
    void continue_download() { record(__func__); }
    void download_artifact() { record(__func__); }
    void verify_artifact() { record(__func__); }
    void start_installer() { record(__func__); }
    void cancel_installer() { record(__func__); }
    void remove_artifacts() { record(__func__); }
    void cleanup() { record(__func__); }

    void enter_cancelling_installer() {
        record("enter_cancelling");
        cancelling = true;
    }
    void leave_cancelling_installer() {
        record("leave_cancelling");
        cancelling = false;
    }
    void enter_finished() {
        record(__func__);
        finished = true;
    }
    void enter_cancelled() {
        record(__func__);
        cancelled = true;
    }

    bool cancelling = false;
    bool finished = false;
    bool cancelled = false;
};

using Machine =
    test::DrivenMachine<RecordingDeployer, hawkbit_deployer_fsm::BasicFSMDef<RecordingDeployer>>;

const TransitionTable& table() {
    using Row = TransitionTable::Row;
    using Steps = std::vector<TransitionTable::Step>;
    const auto then = [](Steps steps, const Steps& more) {
        steps.insert(steps.end(), more.begin(), more.end());
        return steps;
    };
    static const Steps checking_chunk{{"advance", {"owns_files"}}};
    static const Steps checking_artifact = then(checking_chunk, {{"advance", {"chunks_left"}}});
    static const Steps downloading = then(checking_artifact, {{"advance", {"artifacts_left"}}});
    static const Steps verifying = then(downloading, {{"advance", {"artifact_arrived"}}});
    static const Steps starting = then(checking_artifact, {{"advance", {}}});
    static const Steps waiting = then(starting, {{"advance", {}}});
    static const std::vector<Row> clean_up{{"", "cleanup", "Cancelled"}};
    static const TransitionTable described{
        {{"Init", "", ""},
         {"CheckingChunk", "", ""},
         {"CheckingArtifact", "", ""},
         {"DownloadingArtifact", "", ""},
         {"VerifyingArtifact", "", ""},
         {"SelectingArtifact", "", ""},
         {"StartingInstaller", "", ""},
         {"WaitingForInstaller", "", ""},
         {"SelectingChunk", "", ""},
         {"CancellingInstaller", "enter_cancelling", "leave_cancelling"},
         {"Finished", "enter_finished", ""},
         {"Cancelled", "enter_cancelled", ""}},
        {"advance", "cancel", "resume"},
        {{{"Init", "advance"}, {{"owns_files", "", "CheckingChunk"}, {"", "", "Init"}}},
         {{"Init", "cancel"}, {{"", "", "Cancelled"}}},
         {{"Init", "resume"}, {{"", "", "WaitingForInstaller"}}},
         {{"CheckingChunk", "advance"},
          {{"chunk_already_installed", "", "SelectingChunk"},
           {"chunks_left", "", "CheckingArtifact"},
           {"", "", "Finished"}}},
         {{"CheckingChunk", "cancel"}, clean_up},
         {{"CheckingArtifact", "advance"},
          {{"artifacts_left", "", "DownloadingArtifact"}, {"", "", "StartingInstaller"}}},
         {{"CheckingArtifact", "cancel"}, clean_up},
         {{"DownloadingArtifact", "advance"},
          {{"artifact_arrived", "download_artifact", "VerifyingArtifact"},
           {"", "continue_download", "DownloadingArtifact"}}},
         {{"DownloadingArtifact", "cancel"}, clean_up},
         {{"VerifyingArtifact", "advance"}, {{"", "verify_artifact", "SelectingArtifact"}}},
         {{"VerifyingArtifact", "cancel"}, clean_up},
         {{"SelectingArtifact", "advance"}, {{"", "select_next_artifact", "CheckingArtifact"}}},
         {{"SelectingArtifact", "cancel"}, clean_up},
         {{"StartingInstaller", "advance"}, {{"", "start_installer", "WaitingForInstaller"}}},
         {{"StartingInstaller", "cancel"}, clean_up},
         {{"WaitingForInstaller", "advance"},
          {{"installer_done", "remove_artifacts", "SelectingChunk"},
           {"", "", "WaitingForInstaller"}}},
         {{"WaitingForInstaller", "cancel"}, {{"", "cancel_installer", "CancellingInstaller"}}},
         {{"SelectingChunk", "advance"}, {{"", "select_next_chunk", "CheckingChunk"}}},
         {{"SelectingChunk", "cancel"}, clean_up},
         {{"CancellingInstaller", "advance"},
          {{"installer_done", "cleanup", "Cancelled"}, {"", "", "CancellingInstaller"}}},
         {{"CancellingInstaller", "cancel"}, {{"", "", "CancellingInstaller"}}},
         {{"Finished", "advance"}, {{"", "", "Finished"}}},
         {{"Finished", "cancel"}, {{"", "", "Finished"}}},
         {{"Cancelled", "advance"}, {{"", "", "Cancelled"}}},
         {{"Cancelled", "cancel"}, {{"", "", "Cancelled"}}}},
        {{"Init", {}},
         {"CheckingChunk", checking_chunk},
         {"CheckingArtifact", checking_artifact},
         {"DownloadingArtifact", downloading},
         {"VerifyingArtifact", verifying},
         {"SelectingArtifact", then(verifying, {{"advance", {}}})},
         {"StartingInstaller", starting},
         {"WaitingForInstaller", waiting},
         {"SelectingChunk", then(waiting, {{"advance", {"installer_done"}}})},
         {"CancellingInstaller", then(waiting, {{"cancel", {}}})},
         {"Finished", then(checking_chunk, {{"advance", {}}})},
         {"Cancelled", {{"cancel", {}}}}},
        "cancel"};
    return described;
}

std::unique_ptr<Machine> machine_in(const std::string& state) {
    namespace events = hawkbit_deployer_fsm::events;
    using Backend = Machine::Backend;
    static const Machine::Events by_name{
        {"advance", [](Backend& machine) { machine.process_event(events::advance{}); }},
        {"cancel", [](Backend& machine) { machine.process_event(events::cancel{}); }},
        {"resume", [](Backend& machine) { machine.process_event(events::resume{}); }}};
    return std::make_unique<Machine>(table(), by_name, state);
}

void expect_flags_of_state(const Machine& machine) {
    EXPECT_EQ(machine.owner.cancelling, machine.state() == "CancellingInstaller");
    EXPECT_EQ(machine.owner.finished, machine.state() == "Finished");
    EXPECT_EQ(machine.owner.cancelled, machine.state() == "Cancelled");
}

class DeployerFSMEvents : public testing::TestWithParam<TransitionTable::StateAndEvent> {};

TEST_P(DeployerFSMEvents, DoWhatTheTableSaysForAllGuardsAndFailures) {
    test::check_event(table(), GetParam(), machine_in, expect_flags_of_state);
}

INSTANTIATE_TEST_SUITE_P(EveryState, DeployerFSMEvents,
                         testing::ValuesIn(table().states_and_events()), test::event_in_state);

TEST(DeployerFSM, FailedDownloadIsCleanedUpWithinTheStep) {
    const auto machine = machine_in("DownloadingArtifact");
    machine->owner.answers["artifact_arrived"] = true;
    machine->owner.failures["download_artifact"] = 1;

    machine->send("advance");

    EXPECT_THAT(machine->owner.trace,
                ElementsAre("artifact_arrived", "download_artifact", "exception_caught", "cleanup",
                            "enter_cancelled"));
    EXPECT_EQ(machine->state(), "Cancelled");
}

TEST(DeployerFSM, CancelThatAlwaysThrowsIsTriedOnceAndTheInstallerStaysAwaited) {
    const auto machine = machine_in("WaitingForInstaller");
    machine->owner.failures["cancel_installer"] = 1000;

    machine->send("cancel");

    EXPECT_THAT(machine->owner.trace, ElementsAre("cancel_installer", "exception_caught"));
    EXPECT_EQ(machine->state(), "WaitingForInstaller");
    EXPECT_FALSE(machine->owner.cancelling);
}

TEST(DeployerFSM, CleanUpThatAlwaysThrowsAfterAFailureEnds) {
    const auto machine = machine_in("VerifyingArtifact");
    machine->owner.failures["verify_artifact"] = 1000;
    machine->owner.failures["cleanup"] = 1000;

    machine->send("advance");

    EXPECT_THAT(machine->owner.trace,
                ElementsAre("verify_artifact", "exception_caught", "cleanup", "exception_caught"));
    EXPECT_EQ(machine->state(), "VerifyingArtifact");
}

TEST(DeployerFSM, ThrowingGuardCancels) {
    const auto machine = machine_in("CheckingChunk");
    machine->owner.failures["chunk_already_installed"] = 1;

    machine->send("advance");

    EXPECT_THAT(machine->owner.trace, ElementsAre("chunk_already_installed", "exception_caught",
                                                  "cleanup", "enter_cancelled"));
    EXPECT_EQ(machine->state(), "Cancelled");
}

}  // namespace
}  // namespace zephran
