// SPDX-License-Identifier: Apache-2.0
extern "C" {
#include <libubox/uloop.h>
}

#include <array>
#include <csignal>

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

namespace {

int poll_descriptor = -1;
std::array<int, 2> waker{-1, -1};

/// A loop would note the signal and end, or look after its children. There is none.
void swallow(int /*number*/) {}

void replace_default(int number, void (*handler)(int)) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) {
        return;
    }
    action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

bool open_descriptors() {
    if (poll_descriptor >= 0) {
        return true;
    }
    const int descriptor = epoll_create1(EPOLL_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    if (pipe2(waker.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        close(descriptor);
        return false;
    }
    poll_descriptor = descriptor;
    return true;
}

}  // namespace

extern "C" {

int uloop_init() {
    if (!open_descriptors()) {
        return -1;
    }
    replace_default(SIGINT, swallow);
    replace_default(SIGTERM, swallow);
    replace_default(SIGCHLD, swallow);
    replace_default(SIGPIPE, SIG_IGN);
    return 0;
}

}  // extern "C"
