// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <type_traits>

#include "deployment/deployment_stage.h"
#include "fsm/fsm_rows.h"

namespace zephran::hawkbit_deployer_fsm {

namespace events {
struct advance {};
struct cancel {};
struct resume {};
}  // namespace events

using events::advance;
using events::cancel;
using events::resume;
using fsm_rows::none;
using fsm_rows::Row;

/// One deployment, chunk by chunk and artifact by artifact.
///
/// @tparam Owner provides the guards and actions named below
template <class Owner>
struct BasicFSMDef : fsm_rows::FrontEnd<BasicFSMDef<Owner>, Owner> {
    using fsm_rows::FrontEnd<BasicFSMDef<Owner>, Owner>::FrontEnd;

    struct Init : fsm_rows::State {};
    struct CheckingChunk : fsm_rows::State {};
    struct CheckingArtifact : fsm_rows::State {};
    struct DownloadingArtifact : fsm_rows::ShownState<DeploymentStage::downloading> {};
    struct VerifyingArtifact : fsm_rows::ShownState<DeploymentStage::verifying> {};
    struct SelectingArtifact : fsm_rows::State {};
    struct StartingInstaller : fsm_rows::ShownState<DeploymentStage::installing> {};
    struct WaitingForInstaller : fsm_rows::ShownState<DeploymentStage::installing> {};
    struct SelectingChunk : fsm_rows::State {};
    struct CancellingInstaller
        : fsm_rows::StateWithEntryAndExit<&Owner::enter_cancelling_installer,
                                          &Owner::leave_cancelling_installer> {};
    struct Finished : fsm_rows::StateWithEntry<&Owner::enter_finished> {};
    struct Cancelled : fsm_rows::StateWithEntry<&Owner::enter_cancelled> {};
    using initial_state = Init;

    using owns_files = fsm_rows::Ask<&Owner::owns_files>;
    using chunks_left = fsm_rows::Ask<&Owner::chunks_left>;
    using artifacts_left = fsm_rows::Ask<&Owner::artifacts_left>;
    using artifact_arrived = fsm_rows::Ask<&Owner::artifact_arrived>;
    using installer_done = fsm_rows::Ask<&Owner::installer_done>;
    using chunk_already_installed = fsm_rows::Ask<&Owner::chunk_already_installed>;
    using select_next_chunk = fsm_rows::Tell<&Owner::select_next_chunk>;
    using select_next_artifact = fsm_rows::Tell<&Owner::select_next_artifact>;
    using continue_download = fsm_rows::Tell<&Owner::continue_download>;
    using download_artifact = fsm_rows::Tell<&Owner::download_artifact>;
    using verify_artifact = fsm_rows::Tell<&Owner::verify_artifact>;
    using start_installer = fsm_rows::Tell<&Owner::start_installer>;
    using cancel_installer = fsm_rows::Tell<&Owner::cancel_installer>;
    using remove_artifacts = fsm_rows::Tell<&Owner::remove_artifacts>;
    using cleanup = fsm_rows::Tell<&Owner::cleanup>;

    // The rows of one source and event are tried from the last to the first.
    // clang-format off
    using transition_table = fsm_rows::Table<
        Row<Init,                advance, Init,                none,                 none>,
        Row<Init,                advance, CheckingChunk,       none,                 owns_files>,
        Row<Init,                cancel,  Cancelled,           none,                 none>,
        Row<Init,                resume,  WaitingForInstaller, none,                 none>,

        Row<CheckingChunk,       advance, Finished,            none,                 none>,
        Row<CheckingChunk,       advance, CheckingArtifact,    none,                 chunks_left>,
        Row<CheckingChunk,       advance, SelectingChunk,      none,                 chunk_already_installed>,
        Row<CheckingChunk,       cancel,  Cancelled,           cleanup,              none>,

        Row<CheckingArtifact,    advance, StartingInstaller,   none,                 none>,
        Row<CheckingArtifact,    advance, DownloadingArtifact, none,                 artifacts_left>,
        Row<CheckingArtifact,    cancel,  Cancelled,           cleanup,              none>,

        Row<DownloadingArtifact, advance, DownloadingArtifact, continue_download,    none>,
        Row<DownloadingArtifact, advance, VerifyingArtifact,   download_artifact,    artifact_arrived>,
        Row<DownloadingArtifact, cancel,  Cancelled,           cleanup,              none>,

        Row<VerifyingArtifact,   advance, SelectingArtifact,   verify_artifact,      none>,
        Row<VerifyingArtifact,   cancel,  Cancelled,           cleanup,              none>,

        Row<SelectingArtifact,   advance, CheckingArtifact,    select_next_artifact, none>,
        Row<SelectingArtifact,   cancel,  Cancelled,           cleanup,              none>,

        Row<StartingInstaller,   advance, WaitingForInstaller, start_installer,      none>,
        Row<StartingInstaller,   cancel,  Cancelled,           cleanup,              none>,

        Row<WaitingForInstaller, advance, WaitingForInstaller, none,                 none>,
        Row<WaitingForInstaller, advance, SelectingChunk,      remove_artifacts,     installer_done>,
        Row<WaitingForInstaller, cancel,  CancellingInstaller, cancel_installer,     none>,

        Row<SelectingChunk,      advance, CheckingChunk,       select_next_chunk,    none>,
        Row<SelectingChunk,      cancel,  Cancelled,           cleanup,              none>,

        Row<CancellingInstaller, advance, CancellingInstaller, none,                 none>,
        Row<CancellingInstaller, advance, Cancelled,           cleanup,              installer_done>,
        Row<CancellingInstaller, cancel,  CancellingInstaller, none,                 none>,

        Row<Finished,            advance, Finished,            none,                 none>,
        Row<Finished,            cancel,  Finished,            none,                 none>,

        Row<Cancelled,           advance, Cancelled,           none,                 none>,
        Row<Cancelled,           cancel,  Cancelled,           none,                 none>>;
    // clang-format on

    /// A cancel that throws does not lead to another cancel: that would never end.
    template <class Machine, class Event>
    void exception_caught(const Event& /*event*/, Machine& machine, std::exception& error) {
        this->owner().exception_caught(error);
        if (!std::is_same_v<Event, cancel>) {
            machine.process_event(cancel{});
        }
    }
};

}  // namespace zephran::hawkbit_deployer_fsm
