// SPDX-License-Identifier: Apache-2.0
#pragma once

/// What the bus client needs of the event loop: a watched descriptor and the loop's side effects on
/// the process. There is no loop. No C-linkage guards, like blob.h.

#include <stdbool.h>
#include <stdint.h>

#define ULOOP_READ (1U << 0)
#define ULOOP_WRITE (1U << 1)

struct uloop_fd;

typedef void (*uloop_fd_handler)(struct uloop_fd* u, unsigned int events);

struct uloop_fd {
    uloop_fd_handler cb;
    int fd;
    bool eof;
    bool error;
    bool registered;
    uint8_t flags;
};

/// Opens the loop's descriptors, once for the process, and takes over SIGINT, SIGTERM and SIGCHLD
/// where they have their default action; SIGPIPE is ignored where it has. 0, or -1 with errno.
int uloop_init(void);
