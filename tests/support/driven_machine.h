// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <boost/msm/back/state_machine.hpp>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/transition_table.h"

namespace zephran::test {

/// A state machine with its recording owner, driven by the names of events.
template <class Owner, class FrontEnd>
class DrivenMachine {
public:
    using Backend = boost::msm::back::state_machine<FrontEnd>;
    using Events = std::map<std::string, std::function<void(Backend&)>>;

    /// Starts the machine and leads it to a state.
    DrivenMachine(const TransitionTable& described_by, const Events& events_by_name,
                  const std::string& initial)
        : table{described_by}, events{events_by_name}, backend{std::ref(owner)} {
        backend.start();
        for (const TransitionTable::Step& step : table.paths.at(initial)) {
            owner.answers.clear();
            for (const std::string& guard : step.holding) {
                owner.answers[guard] = true;
            }
            send(step.event);
        }
        owner.answers.clear();
        owner.trace.clear();
    }
    void send(const std::string& event) { events.at(event)(backend); }
    [[nodiscard]] int state_id() const { return backend.current_state()[0]; }
    [[nodiscard]] const std::string& state() const {
        return table.states.at(static_cast<std::size_t>(state_id())).name;
    }

    Owner owner;

private:
    const TransitionTable& table;
    const Events& events;
    Backend backend;
};

/// All combinations of answers of the guards in these rows.
inline std::vector<std::map<std::string, bool>> guard_combinations(
    const std::vector<TransitionTable::Row>& rows) {
    std::vector<std::map<std::string, bool>> combinations{{}};
    for (const TransitionTable::Row& row : rows) {
        if (row.guard.empty()) {
            continue;
        }
        std::vector<std::map<std::string, bool>> doubled;
        for (std::map<std::string, bool> answers : combinations) {
            for (const bool holds : {false, true}) {
                answers[row.guard] = holds;
                doubled.push_back(answers);
            }
        }
        combinations = doubled;
    }
    return combinations;
}

inline std::string to_text(const std::map<std::string, bool>& answers) {
    std::string text;
    for (const auto& [guard, holds] : answers) {
        text += guard + (holds ? "=1 " : "=0 ");
    }
    return text;
}

/// Name of a parameterised test: state and event.
inline std::string event_in_state(
    const testing::TestParamInfo<TransitionTable::StateAndEvent>& parameter) {
    return parameter.param.first + "_" + parameter.param.second;
}

/// Guards and actions in these rows: any of them may throw.
inline std::set<std::string> calls_of(const std::vector<TransitionTable::Row>& rows) {
    std::set<std::string> names;
    for (const TransitionTable::Row& row : rows) {
        names.insert(row.guard);
        names.insert(row.action);
    }
    names.erase("");
    return names;
}

/// Sends one event to machines in one state, once for every combination of guards, without a
/// failure and with a failure of each guard and action, and compares with the table.
///
/// @param make_machine returns a machine in the state
/// @param check_flags  compares the flags of the machine's owner with the state it is in
template <class MakeMachine, class CheckFlags>
void check_event(const TransitionTable& table,
                 const TransitionTable::StateAndEvent& state_and_event,
                 const MakeMachine& make_machine, const CheckFlags& check_flags) {
    const auto& [state, event] = state_and_event;
    const std::vector<TransitionTable::Row> rows = table.rows_of(state, event);
    std::set<std::string> failures = calls_of(rows);
    failures.insert("");
    for (const std::map<std::string, bool>& answers : guard_combinations(rows)) {
        for (const std::string& failing : failures) {
            SCOPED_TRACE(to_text(answers) + "throwing: " + failing);
            ExpectedStep expected{table, answers, failing};
            expected.process(state, event);
            const auto machine = make_machine(state);
            ASSERT_EQ(machine->state(), state);
            machine->owner.answers = answers;
            machine->owner.failures[failing] = 1;

            const CapturedLog log;
            machine->send(event);

            EXPECT_EQ(machine->owner.trace, expected.trace);
            EXPECT_EQ(machine->state(), expected.target);
            EXPECT_EQ(log.text(), "");
            check_flags(*machine);
        }
    }
}

}  // namespace zephran::test
