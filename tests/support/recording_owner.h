// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace zephran::test {

/// Base of the owners that replace the real ones in tests of the state machines: it answers guards
/// as told and records all calls by its machine in order.
class RecordingOwner {
public:
    /// Guards that hold; all others do not.
    std::map<std::string, bool> answers;
    /// How often a guard or an action throws before it works again.
    std::map<std::string, unsigned> failures;
    std::vector<std::string> trace;

    void exception_caught(const std::exception& /*error*/) {
        trace.emplace_back("exception_caught");
    }

    template <class Shown>
    void note_state(Shown /*shown*/) {}

protected:
    bool ask(const std::string& guard) {
        record(guard);
        return answers[guard];
    }
    void record(const std::string& name) {
        trace.push_back(name);
        unsigned& failures_left = failures[name];
        if (failures_left != 0) {
            --failures_left;
            throw std::runtime_error{name};
        }
    }
};

}  // namespace zephran::test
