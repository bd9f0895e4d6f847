#pragma once

#include <csignal>
#include <initializer_list>
#include <map>

namespace zephran::ubus {

/// Keeps the dispositions of the signals that the bus library takes for itself when it connects
/// (SIGINT, SIGTERM and SIGCHLD), and puts them back at the end of its life. SIGPIPE is ignored
/// from then on: a library older than 2017 would end the process when the broker goes away.
class SignalDispositions {
public:
    SignalDispositions() : SignalDispositions{SIGINT, SIGTERM, SIGCHLD} {}
    /// For some of them only.
    SignalDispositions(std::initializer_list<int> numbers);
    SignalDispositions(const SignalDispositions&) = delete;
    SignalDispositions& operator=(const SignalDispositions&) = delete;
    ~SignalDispositions();

private:
    std::map<int, struct sigaction> saved;
};

}  // namespace zephran::ubus
