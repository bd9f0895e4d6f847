#include "exit_handler.h"

#include <csignal>

#include "common/logprint.h"

namespace zephran {

namespace {

void set_dispositions(void (*disposition)(int)) {
    for (const int number : {SIGINT, SIGTERM}) {
        // Fails only for numbers that are no signals.
        static_cast<void>(std::signal(number, disposition));
    }
}

}  // namespace

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
    // A peer that hangs up is an error of the write to it, no reason for the process to end.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

void ExitHandler::signal(int /*number*/) {
    ExitHandler& handler = instance();
    handler.exit_requested = true;
    ++handler.unlogged_signals;
}

void ExitHandler::log_signals() {
    for (unsigned remaining = unlogged_signals.exchange(0); remaining != 0; --remaining) {
        LOG_WARNING_AS("signal", "action", "signal", "message", "received exit signal");
    }
}

}  // namespace zephran
