#pragma once

#include <array>
#include <csignal>

namespace zephran::ubus {

/// Keeps the dispositions of the signals that the bus library takes for itself when it connects
/// (SIGINT, SIGTERM and SIGCHLD), and puts them back at the end of its life. SIGPIPE is ignored
/// from then on: a library older than 2017 would end the process when the broker goes away.
class SignalDispositions {
public:
    SignalDispositions();
    SignalDispositions(const SignalDispositions&) = delete;
    SignalDispositions& operator=(const SignalDispositions&) = delete;
    ~SignalDispositions();

private:
    static constexpr std::array<int, 3> numbers{SIGINT, SIGTERM, SIGCHLD};
    std::array<struct sigaction, numbers.size()> saved{};
};

}  // namespace zephran::ubus
