// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace zephran::test {

/// The specified behaviour of a state machine, independent of its implementation.
struct TransitionTable {
    struct State {
        std::string name;
        std::string entry;
        std::string exit;
    };
    /// An empty guard always holds, an empty action does nothing.
    struct Row {
        std::string guard;
        std::string action;
        std::string target;
    };
    /// One event on the path to a state, with the guards that hold while it is processed.
    struct Step {
        std::string event;
        std::vector<std::string> holding;
    };
    using StateAndEvent = std::pair<std::string, std::string>;

    /// In the order of their numbers; the first is the initial one.
    std::vector<State> states;
    std::vector<std::string> events;
    /// The rows of one state and event in the order in which they are tried.
    std::map<StateAndEvent, std::vector<Row>> rows;
    /// How each state is reached from the initial one.
    std::map<std::string, std::vector<Step>> paths;
    /// The event that follows an exception.
    std::string recovery;
    /// Whether it also follows an exception that it has caused itself.
    bool recovery_repeats = false;

    [[nodiscard]] const State& state(const std::string& name) const {
        for (const State& candidate : states) {
            if (candidate.name == name) {
                return candidate;
            }
        }
        throw std::out_of_range{name};
    }
    [[nodiscard]] std::vector<Row> rows_of(const std::string& state,
                                           const std::string& event) const {
        const auto found = rows.find({state, event});
        return found == rows.end() ? std::vector<Row>{} : found->second;
    }
    [[nodiscard]] std::vector<StateAndEvent> states_and_events() const {
        std::vector<StateAndEvent> all;
        for (const State& state : states) {
            for (const std::string& event : events) {
                all.emplace_back(state.name, event);
            }
        }
        return all;
    }
};

/// The expected effect of one event on a machine with this table.
class ExpectedStep {
public:
    /// @param guards   answers by name
    /// @param throwing guard or action that throws the first time it is called, "" for none
    ExpectedStep(const TransitionTable& expected_table, std::map<std::string, bool> guards,
                 std::string throwing)
        : table{expected_table}, answers{std::move(guards)}, failing{std::move(throwing)} {}

    /// Calls of guards, actions, exits and entries in their order.
    std::vector<std::string> trace;
    std::string target;

    void process(const std::string& state, const std::string& event) {
        target = state;
        for (const TransitionTable::Row& row : table.rows_of(state, event)) {
            if (!row.guard.empty()) {
                if (!call(row.guard)) {
                    return recover(state, event);
                }
                if (!answers[row.guard]) {
                    continue;
                }
            }
            call(table.state(state).exit);
            if (!call(row.action)) {
                return recover(state, event);
            }
            call(table.state(row.target).entry);
            target = row.target;
            return;
        }
    }

private:
    /// @returns false when the call throws
    bool call(const std::string& name) {
        if (name.empty()) {
            return true;
        }
        trace.push_back(name);
        if (name != failing) {
            return true;
        }
        failing.clear();
        return false;
    }
    void recover(const std::string& state, const std::string& event) {
        trace.emplace_back("exception_caught");
        if (event != table.recovery || table.recovery_repeats) {
            process(state, table.recovery);
        }
    }

    const TransitionTable& table;
    std::map<std::string, bool> answers;
    std::string failing;
};

}  // namespace zephran::test
