#pragma once

#include <boost/mpl/push_back.hpp>
#include <boost/mpl/vector.hpp>

/// Building blocks of the state machines' transition tables.
namespace zephran::fsm_rows {

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

/// mpl::vector holds only twenty types when they are given at once; appended it holds any number.
template <class Sequence, class... Rows>
struct Append {
    using type = Sequence;
};

template <class Sequence, class Row, class... Rows>
struct Append<Sequence, Row, Rows...> {
    using type =
        typename Append<typename boost::mpl::push_back<Sequence, Row>::type, Rows...>::type;
};

template <class... Rows>
using Table = typename Append<boost::mpl::vector<>, Rows...>::type;

}  // namespace zephran::fsm_rows
