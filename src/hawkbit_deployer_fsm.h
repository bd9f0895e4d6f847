#pragma once

#include <type_traits>

#include <boost/msm/front/functor_row.hpp>
#include <boost/msm/front/state_machine_def.hpp>

#include "fsm_rows.h"

namespace zephran::hawkbit_deployer_fsm {

namespace events {
struct advance {};
struct cancel {};
struct resume {};
}  // namespace events

/// One deployment, chunk by chunk and artifact by artifact.
///
/// @tparam Owner provides the guards and actions named below
template <class Owner>
struct BasicFSMDef : boost::msm::front::state_machine_def<BasicFSMDef<Owner>> {
    template <class Event, class... Rest>
    using Row = boost::msm::front::Row<Event, Rest...>;
    using none = boost::msm::front::none;
    using advance = events::advance;
    using cancel = events::cancel;
    using resume = events::resume;

    explicit BasicFSMDef(Owner& deployer) : machine_owner{&deployer} {}
    Owner& owner() { return *machine_owner; }

    struct Init : boost::msm::front::state<> {};
    struct CheckingChunk : boost::msm::front::state<> {};
    struct CheckingArtifact : boost::msm::front::state<> {};
    struct DownloadingArtifact : boost::msm::front::state<> {};
    struct VerifyingArtifact : boost::msm::front::state<> {};
    struct SelectingArtifact : boost::msm::front::state<> {};
    struct StartingInstaller : boost::msm::front::state<> {};
    struct WaitingForInstaller : boost::msm::front::state<> {};
    struct SelectingChunk : boost::msm::front::state<> {};
    struct CancellingInstaller : boost::msm::front::state<> {
        template <class Event, class Machine>
        void on_entry(const Event& /*event*/, Machine& machine) {
            machine.owner().enter_cancelling_installer();
        }
        template <class Event, class Machine>
        void on_exit(const Event& /*event*/, Machine& machine) {
            machine.owner().leave_cancelling_installer();
        }
    };
    struct Finished : boost::msm::front::state<> {
        template <class Event, class Machine>
        void on_entry(const Event& /*event*/, Machine& machine) {
            machine.owner().enter_finished();
        }
    };
    struct Cancelled : boost::msm::front::state<> {
        template <class Event, class Machine>
        void on_entry(const Event& /*event*/, Machine& machine) {
            machine.owner().enter_cancelled();
        }
    };
    using initial_state = Init;

    using chunks_left = fsm_rows::Ask<&Owner::chunks_left>;
    using artifacts_left = fsm_rows::Ask<&Owner::artifacts_left>;
    using installer_done = fsm_rows::Ask<&Owner::installer_done>;
    using chunk_already_installed = fsm_rows::Ask<&Owner::chunk_already_installed>;
    using select_next_chunk = fsm_rows::Tell<&Owner::select_next_chunk>;
    using select_next_artifact = fsm_rows::Tell<&Owner::select_next_artifact>;
    using download_artifact = fsm_rows::Tell<&Owner::download_artifact>;
    using verify_artifact = fsm_rows::Tell<&Owner::verify_artifact>;
    using start_installer = fsm_rows::Tell<&Owner::start_installer>;
    using cancel_installer = fsm_rows::Tell<&Owner::cancel_installer>;
    using remove_artifacts = fsm_rows::Tell<&Owner::remove_artifacts>;
    using cleanup = fsm_rows::Tell<&Owner::cleanup>;

    // The rows of one source and event are tried from the last to the first.
    // clang-format off
    using transition_table = fsm_rows::Table<
        Row<Init,                advance, CheckingChunk,       none,                 none>,
        Row<Init,                cancel,  Cancelled,           none,                 none>,
        Row<Init,                resume,  WaitingForInstaller, none,                 none>,

        Row<CheckingChunk,       advance, Finished,            none,                 none>,
        Row<CheckingChunk,       advance, CheckingArtifact,    none,                 chunks_left>,
        Row<CheckingChunk,       advance, SelectingChunk,      none,                 chunk_already_installed>,
        Row<CheckingChunk,       cancel,  Cancelled,           cleanup,              none>,

        Row<CheckingArtifact,    advance, StartingInstaller,   none,                 none>,
        Row<CheckingArtifact,    advance, DownloadingArtifact, none,                 artifacts_left>,
        Row<CheckingArtifact,    cancel,  Cancelled,           cleanup,              none>,

        Row<DownloadingArtifact, advance, VerifyingArtifact,   download_artifact,    none>,
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

    template <class Machine, class Event>
    void no_transition(const Event& /*event*/, Machine& /*machine*/, int /*state*/) {}

    /// A cancel that throws is not answered with another one: that would never end.
    template <class Machine, class Event>
    void exception_caught(const Event& /*event*/, Machine& machine, std::exception& error) {
        owner().exception_caught(error);
        if (!std::is_same_v<Event, cancel>) {
            machine.process_event(cancel{});
        }
    }

private:
    Owner* machine_owner;
};

}  // namespace zephran::hawkbit_deployer_fsm
