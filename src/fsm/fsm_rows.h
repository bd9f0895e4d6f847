// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/mpl/push_back.hpp>
#include <boost/mpl/vector.hpp>
#include <boost/msm/front/functor_row.hpp>
#include <boost/msm/front/state_machine_def.hpp>

/// Building blocks of the state machines and their transition tables.
namespace zephran::fsm_rows {

using boost::msm::front::none;
using boost::msm::front::Row;

/// Base of the front ends: guards and actions work on the owner's data. Events without a row are
/// ignored.
///
/// @tparam Def the front end itself
template <class Def, class Owner>
class FrontEnd : public boost::msm::front::state_machine_def<Def> {
public:
    explicit FrontEnd(Owner& owner) : owner_{&owner} {}

    Owner& owner() { return *owner_; }

    template <class Machine, class Event>
    void no_transition(const Event& /*event*/, Machine& /*machine*/, int /*state*/) {}

private:
    Owner* owner_;
};

/// State without entry or exit.
using State = boost::msm::front::state<>;

/// State that tells the machine's owner when it is entered.
template <auto Enter>
struct StateWithEntry : State {
    template <class Event, class Machine>
    void on_entry(const Event& /*event*/, Machine& machine) {
        (machine.owner().*Enter)();
    }
};

/// State that tells the machine's owner when it is entered and left.
template <auto Enter, auto Leave>
struct StateWithEntryAndExit : StateWithEntry<Enter> {
    template <class Event, class Machine>
    void on_exit(const Event& /*event*/, Machine& machine) {
        (machine.owner().*Leave)();
    }
};

/// State that first tells the machine's owner what the outside is shown while it lasts.
template <auto Shown, class Base = State>
struct ShownState : Base {
    template <class Event, class Machine>
    void on_entry(const Event& event, Machine& machine) {
        machine.owner().note_state(Shown);
        Base::on_entry(event, machine);
    }
};

/// Guard of a row: asks the machine's owner.
template <auto Question>
struct Ask {
    template <class Event, class Machine, class Source, class Target>
    bool operator()(const Event& /*event*/, Machine& machine, Source& /*source*/,
                    Target& /*target*/) const {
        return (machine.owner().*Question)();
    }
};

/// Action of a row: tells the machine's owner what to do.
template <auto Task>
struct Tell {
    template <class Event, class Machine, class Source, class Target>
    void operator()(const Event& /*event*/, Machine& machine, Source& /*source*/,
                    Target& /*target*/) const {
        (machine.owner().*Task)();
    }
};

/// mpl::vector takes at most twenty types at once, but any number one by one.
template <class Sequence, class... Rows>
struct Append {
    using type = Sequence;
};

template <class Sequence, class First, class... Rest>
struct Append<Sequence, First, Rest...> {
    using type =
        typename Append<typename boost::mpl::push_back<Sequence, First>::type, Rest...>::type;
};

template <class... Rows>
using Table = typename Append<boost::mpl::vector<>, Rows...>::type;

}  // namespace zephran::fsm_rows
