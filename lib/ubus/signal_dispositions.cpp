#include "ubus/signal_dispositions.h"

namespace zephran::ubus {

// sigaction() and signal() fail for unknown signal numbers only.

SignalDispositions::SignalDispositions() {
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        (void)sigaction(numbers.at(i), nullptr, &saved.at(i));
    }
}

SignalDispositions::~SignalDispositions() {
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        (void)sigaction(numbers[i], &saved[i],
                        nullptr);  // NOLINT: the bounds are in the line above
    }
    (void)std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace zephran::ubus
