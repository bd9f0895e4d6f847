# SPDX-License-Identifier: Apache-2.0
"""Subscriptions through the simulated gateway's web server: notifications of its bus as server-sent events."""
from __future__ import annotations

import contextlib
import itertools
import re
import select
import signal
from typing import TYPE_CHECKING

from gateway import GatewayError

if TYPE_CHECKING:
    import socket
    from collections.abc import Callable

    from gateway import Gateway

NOTIFICATION = re.compile(r'{ "(\w+)": (.*) }')
# `ubus` gives up by itself after this many seconds; a reader stays for as long as a page is open.
PATIENCE = 24 * 3600
PAUSE = 0.05


class WebEvents:
    """Passes on what an object tells its subscribers; sent counts the events."""

    def __init__(self, gateway: Gateway) -> None:
        self._gateway = gateway
        self._numbers = itertools.count()
        self._open: set[int] = set()
        self.sent = 0

    @property
    def subscriptions(self) -> int:
        """How many readers there are."""
        return len(self._open)

    def pass_on(self, target: str, reader: socket.socket, goes_on: Callable[[], bool]) -> None:
        """Writes events until the reader hangs up, or the gateway or its bus is gone."""
        # Without the gateway there is nothing to be told, and nothing left to end.
        with contextlib.suppress(ConnectionError, GatewayError):
            number = next(self._numbers)
            program = self._gateway.start_program(["ubus", "-t", str(PATIENCE), "subscribe", target],
                                                  f"events-{number}")
            self._open.add(number)
            try:
                told = 0
                while goes_on() and program.is_running() and not select.select([reader], [], [], PAUSE)[0]:
                    lines = program.out.rpartition("\n")[0].splitlines()
                    for found in filter(None, map(NOTIFICATION.fullmatch, lines[told:])):
                        kind, content = found.groups()
                        reader.sendall(f"event: {kind}\ndata: {content}\n\n".encode())
                        self.sent += 1
                    told = len(lines)
            finally:
                self._open.discard(number)
                program.signal(signal.SIGTERM)
