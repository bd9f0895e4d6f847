// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>
#include <initializer_list>
#include <map>

namespace zephran::ubus {

/// Saves the dispositions of the signals for which the bus library installs handlers when it
/// connects (SIGINT, SIGTERM and SIGCHLD), and restores them in its destructor. SIGPIPE is ignored
/// from then on: with a library older than 2017, a broker that goes away would end the process.
class SignalDispositions {
public:
    SignalDispositions() : SignalDispositions{SIGINT, SIGTERM, SIGCHLD} {}
    /// Only for the given signals.
    SignalDispositions(std::initializer_list<int> numbers);
    SignalDispositions(const SignalDispositions&) = delete;
    SignalDispositions& operator=(const SignalDispositions&) = delete;
    ~SignalDispositions();

private:
    std::map<int, struct sigaction> saved;
};

}  // namespace zephran::ubus
