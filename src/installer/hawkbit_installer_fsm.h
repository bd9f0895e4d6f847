// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <type_traits>

#include "fsm/fsm_rows.h"

namespace zephran::hawkbit_installer_fsm {

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

/// One installation, from the check of its artifacts to its end.
///
/// @tparam Owner provides the guards and actions named below
template <class Owner>
struct BasicFSMDef : fsm_rows::FrontEnd<BasicFSMDef<Owner>, Owner> {
    using fsm_rows::FrontEnd<BasicFSMDef<Owner>, Owner>::FrontEnd;

    struct Init : fsm_rows::State {};
    struct Starting : fsm_rows::State {};
    struct Installing : fsm_rows::State {};
    struct Cancelling : fsm_rows::State {};
    struct Finished : fsm_rows::StateWithEntry<&Owner::enter_finished> {};
    struct Cancelled : fsm_rows::StateWithEntry<&Owner::enter_cancelled> {};
    using initial_state = Init;

    using installation_has_finished = fsm_rows::Ask<&Owner::ask_installation_has_finished>;
    using installation_has_timeout = fsm_rows::Ask<&Owner::installation_has_timeout>;
    using cancellation_has_finished = fsm_rows::Ask<&Owner::ask_cancellation_has_finished>;
    using check_artifact_count = fsm_rows::Tell<&Owner::tell_check_artifact_count>;
    using start_installation = fsm_rows::Tell<&Owner::tell_start_installation>;
    using cancel_installation = fsm_rows::Tell<&Owner::tell_cancel_installation>;
    using fail_cancellation = fsm_rows::Tell<&Owner::fail_cancellation>;

    // The rows of one source and event are tried from the last to the first.
    // clang-format off
    using transition_table = fsm_rows::Table<
        Row<Init,       advance, Starting,   check_artifact_count, none>,
        Row<Init,       cancel,  Cancelled,  none,                 none>,
        Row<Init,       resume,  Installing, none,                 none>,

        Row<Starting,   advance, Installing, start_installation,   none>,
        Row<Starting,   cancel,  Cancelled,  none,                 none>,

        Row<Installing, advance, Installing, none,                 none>,
        Row<Installing, advance, Finished,   none,                 installation_has_timeout>,
        Row<Installing, advance, Finished,   none,                 installation_has_finished>,
        Row<Installing, cancel,  Cancelling, cancel_installation,  none>,

        Row<Cancelling, advance, Cancelling, none,                 none>,
        Row<Cancelling, advance, Cancelled,  none,                 cancellation_has_finished>,
        Row<Cancelling, cancel,  Cancelling, none,                 none>,

        Row<Finished,   advance, Finished,   none,                 none>,
        Row<Finished,   cancel,  Finished,   fail_cancellation,    none>,

        Row<Cancelled,  advance, Cancelled,  none,                 none>,
        Row<Cancelled,  cancel,  Cancelled,  none,                 none>>;
    // clang-format on

    /// A cancel that throws does not lead to another cancel: that would never end.
    template <class Machine, class Event>
    void exception_caught(const Event& /*event*/, Machine& machine, std::exception& error) {
        constexpr bool while_cancelling = std::is_same_v<Event, cancel>;
        this->owner().exception_caught(error, while_cancelling);
        if (!while_cancelling) {
            machine.process_event(cancel{});
        }
    }
};

}  // namespace zephran::hawkbit_installer_fsm
