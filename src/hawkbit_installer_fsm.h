#pragma once

#include <type_traits>

#include <boost/msm/front/functor_row.hpp>
#include <boost/msm/front/state_machine_def.hpp>

#include "fsm_rows.h"

namespace zephran::hawkbit_installer_fsm {

namespace events {
struct advance {};
struct cancel {};
struct resume {};
}  // namespace events

/// One installation, from the check of its artifacts to its end.
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

    explicit BasicFSMDef(Owner& installer) : machine_owner{&installer} {}
    Owner& owner() { return *machine_owner; }

    struct Init : boost::msm::front::state<> {};
    struct Starting : boost::msm::front::state<> {};
    struct Installing : boost::msm::front::state<> {};
    struct Cancelling : boost::msm::front::state<> {};
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

    template <class Machine, class Event>
    void no_transition(const Event& /*event*/, Machine& /*machine*/, int /*state*/) {}

    /// A cancel that throws is not answered with another one: that would never end.
    template <class Machine, class Event>
    void exception_caught(const Event& /*event*/, Machine& machine, std::exception& error) {
        constexpr bool while_cancelling = std::is_same_v<Event, cancel>;
        owner().exception_caught(error, while_cancelling);
        if (!while_cancelling) {
            machine.process_event(cancel{});
        }
    }

private:
    Owner* machine_owner;
};

}  // namespace zephran::hawkbit_installer_fsm
