// SPDX-License-Identifier: Apache-2.0
#include "ubus/signal_dispositions.h"

namespace zephran::ubus {

// sigaction() and signal() fail for unknown signal numbers only.

SignalDispositions::SignalDispositions(std::initializer_list<int> numbers) {
    for (const int number : numbers) {
        (void)sigaction(number, nullptr, &saved[number]);
    }
}

SignalDispositions::~SignalDispositions() {
    for (const auto& [number, disposition] : saved) {
        (void)sigaction(number, &disposition, nullptr);
    }
    (void)std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace zephran::ubus
