// SPDX-License-Identifier: Apache-2.0
#include "exit_handler.h"

#include <csignal>

#include "common/logprint.h"

namespace zephran {

namespace {

void set_dispositions(void (*disposition)(int)) {
    for (const int number : {SIGINT, SIGTERM}) {
        // Fails only for invalid signal numbers.
        static_cast<void>(std::signal(number, disposition));
    }
}

}  // namespace

std::atomic<bool> ExitHandler::exit_requested{false};
std::atomic<unsigned> ExitHandler::unlogged_signals{0};

ExitHandler& ExitHandler::instance() {
    static ExitHandler handler;
    return handler;
}

ExitHandler::ExitHandler() {
    setup();
}

ExitHandler::~ExitHandler() {
    set_dispositions(SIG_DFL);
}

void ExitHandler::setup() {
    set_dispositions(ExitHandler::signal);
    // A closed connection must fail the write, not end the process.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    // Whatever started the daemon may have left SIGCHLD ignored; then children could not be waited
    // for.
    static_cast<void>(std::signal(SIGCHLD, SIG_DFL));
}

void ExitHandler::signal(int /*number*/) {
    exit_requested = true;
    ++unlogged_signals;
}

void ExitHandler::log_signals() {
    for (unsigned remaining = unlogged_signals.exchange(0); remaining != 0; --remaining) {
        ZLOG_WARNING_AS("signal", "action", "signal", "message", "received exit signal");
    }
}

}  // namespace zephran
