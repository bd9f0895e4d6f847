// SPDX-License-Identifier: Apache-2.0
#include "ubus/interruption.h"

namespace zephran::ubus {

namespace {

// Not acted on by default, so that a late one does no harm.
constexpr int number = SIGURG;

}  // namespace

Interruption::Interruption() {
    struct sigaction harmless {};
    harmless.sa_handler = [](int /*number*/) {};
    (void)::sigaction(number, &harmless, &previous);
}

Interruption::~Interruption() {
    (void)::sigaction(number, &previous, nullptr);
}

void Interruption::send_to(pthread_t thread) const {
    (void)::pthread_kill(thread, number);
}

void Interruption::accept() {
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, number);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace zephran::ubus
