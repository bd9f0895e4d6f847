# SPDX-License-Identifier: Apache-2.0
"""Sends one answer, and does on the way what the ordered fault wants."""

from __future__ import annotations

import os
import socket
import struct
import threading
import time
from collections.abc import Callable

from .exchanges import Exchange
from .faults import Cut, Ending, Fault, Part, Slow, Stall
from .reply import Reply

PIECE = 65536
SLOW_STEP = 0.05


def end_connection(connection: socket.socket, ending: Ending) -> None:
    """Ends it below TLS, whose close_notify is never sent; a client that was faster is no error."""
    try:
        if ending is Ending.RESET:
            socket.socket.setsockopt(connection, socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            # Closing must be the first that happens to it: a shutdown would send a FIN before.
            os.close(connection.detach())
        elif ending is Ending.HALF:
            socket.socket.shutdown(connection, socket.SHUT_WR)
            _read_to_the_end(connection)
        else:
            socket.socket.shutdown(connection, socket.SHUT_RDWR)
    except OSError:
        return


def _read_to_the_end(connection: socket.socket) -> None:
    while os.read(connection.fileno(), PIECE):
        pass


class Delivery:
    """One answer on its way. Throws OSError once the client is gone."""

    def __init__(self, write: Callable[[bytes], object], exchange: Exchange, answer: Reply,
                 stopping: threading.Event) -> None:
        self._write = write
        self._exchange = exchange
        self._answer = answer
        self._stopping = stopping

    def send(self, head: bytes, body: bytes, fault: Fault | None) -> bool:
        """Sends both parts; False if the fault has cut the answer off."""
        for part, data in ((Part.HEAD, head), (Part.BODY, body)):
            rate = fault.bytes_per_second if isinstance(fault, Slow) and fault.part in (part, Part.HEAD) else None
            if not isinstance(fault, Cut | Stall) or fault.after is None or fault.part is not part:
                self._send_part(part, data, rate)
                continue
            self._send_part(part, data[:fault.after], rate)
            if isinstance(fault, Cut):
                return False
            fault.hold()
            self._send_part(part, data[fault.after:], rate)
        return True

    def _send_part(self, part: Part, data: bytes, rate: int | None) -> None:
        begin, sent = time.monotonic(), 0
        while sent < len(data):
            size = PIECE if rate is None else self._allowance(begin, sent, rate)
            self._write(data[sent:sent + size])
            size = min(size, len(data) - sent)
            sent += size
            if part is Part.BODY:
                self._count(size)

    def _allowance(self, begin: float, sent: int, rate: int) -> int:
        """Waits until the rate allows at least one byte more."""
        while (allowed := int((time.monotonic() - begin) * rate) - sent) < 1:
            if self._stopping.wait(min(SLOW_STEP, 1 / rate)):
                raise ConnectionAbortedError("the server stops")
        return min(allowed, PIECE, max(1, int(rate * SLOW_STEP)))

    def _count(self, size: int) -> None:
        self._exchange.sent += size
        if self._answer.progress is not None:
            self._answer.progress(self._exchange.sent, len(self._answer.body))
