#include "exit_handler.h"

#include <csignal>

#include "common/logprint.h"

namespace zephran {

ExitHandler& ExitHandler::instance() {
    static ExitHandler handler;
    return handler;
}

ExitHandler::ExitHandler() {
    setup();
}

ExitHandler::~ExitHandler() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

void ExitHandler::setup() {
    std::signal(SIGINT, ExitHandler::signal);
    std::signal(SIGTERM, ExitHandler::signal);
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
