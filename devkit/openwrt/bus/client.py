# SPDX-License-Identifier: Apache-2.0
"""A client of the bus, for the command line."""
from __future__ import annotations

import time

# What socket and signal are made of. They themselves would double the time that the command takes.
from _signal import SIG_IGN, SIGINT, SIGTERM, signal  # type: ignore[import-not-found]
from _socket import AF_UNIX, SOCK_STREAM, socket

from . import wire

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable


class RequestFailed(Exception):
    """A request ended with another status than OK."""

    def __init__(self, status: int) -> None:
        super().__init__(f"status {status}")
        self.status = status


class EndRequested(Exception):
    """A signal has asked the command to end."""


class Connection:
    """Waits for answers until a deadline, in the time of time.monotonic(); None is without limit."""

    def __init__(self, path: str) -> None:
        """OSError when there is no broker, or it does not greet."""
        self.deadline: float | None = None
        self._socket = socket(AF_UNIX, SOCK_STREAM)
        self._socket.connect(path)
        self._assembler = wire.Assembler()
        self._sequence = 0
        self._calls: list[wire.Frame] = []
        try:
            greeting = self._next_frame()
        except RequestFailed as failure:
            raise ConnectionError from failure
        if greeting.type != wire.HELLO:
            raise ConnectionError

    def request(self, kind: int, payload: bytes = b"", peer: int = 0,
                on_data: Callable[[wire.Frame], object] = lambda _: None) -> None:
        """Hands each answer to on_data; RequestFailed unless the last one says OK."""
        if len(payload) + 4 > wire.LARGEST_LENGTH:
            raise RequestFailed(wire.INVALID_ARGUMENT)
        self._sequence += 1
        self._send(wire.frame(kind, self._sequence, peer, payload))
        while True:
            frame = self._next_frame()
            if frame.type == wire.INVOKE:
                self._calls.append(frame)
            elif (frame.sequence, frame.peer) != (self._sequence, peer):
                continue
            elif frame.type == wire.DATA:
                on_data(frame)
            elif frame.type == wire.STATUS:
                status = frame.attributes.get(wire.A_STATUS, wire.INVALID_ARGUMENT)
                if status != wire.OK:
                    raise RequestFailed(status)
                return

    def find(self, path: str) -> int:
        """The id of an object."""
        found: list[wire.Frame] = []
        self.request(wire.LOOKUP, wire.text(wire.A_PATH, path), on_data=found.append)
        return found[-1].attributes[wire.A_ID]

    def call(self, object_id: int, method: str, arguments: bytes,
             on_reply: Callable[[bytes], object] = lambda _: None) -> None:
        """Hands the values of each reply to on_reply."""
        def take(frame: wire.Frame) -> None:
            if wire.A_DATA in frame.attributes:
                on_reply(frame.attributes[wire.A_DATA])

        self.request(wire.INVOKE, wire.number(wire.A_ID, object_id) + wire.text(wire.A_METHOD, method) +
                     wire.attribute(wire.A_DATA, arguments), object_id, take)

    def listen(self, patterns: list[str]) -> None:
        """Has events come whose names match one of the patterns."""
        added: list[wire.Frame] = []
        self.request(wire.ADD_OBJECT, on_data=added.append)
        listener = added[-1].attributes[wire.A_ID]
        for pattern in patterns:
            self.call(wire.EVENT_OBJECT, "register",
                      wire.named_number("object", listener) + wire.named_text("pattern", pattern))

    def subscribe(self, path: str) -> None:
        """Has the notifications of an object come."""
        target = self.find(path)
        added: list[wire.Frame] = []
        self.request(wire.ADD_OBJECT, on_data=added.append)
        self.request(wire.SUBSCRIBE, wire.number(wire.A_ID, added[-1].attributes[wire.A_ID]) +
                     wire.number(wire.A_TARGET, target))

    def next_event(self) -> tuple[str, bytes]:
        """Name and values of the next event."""
        while True:
            frame = self._calls.pop(0) if self._calls else self._next_frame()
            found = frame.attributes
            if frame.type == wire.INVOKE and wire.A_ID in found:
                if wire.A_NO_REPLY not in found:
                    self._send(wire.frame(wire.STATUS, frame.sequence, frame.peer,
                                          wire.number(wire.A_STATUS, wire.OK) +
                                          wire.number(wire.A_ID, found[wire.A_ID])))
                return wire.cut(found.get(wire.A_METHOD, b"")).decode(), found.get(wire.A_DATA, b"")

    def _send(self, data: bytes) -> None:
        try:
            self._socket.settimeout(None)
            self._socket.sendall(data)
        except OSError as error:
            raise RequestFailed(wire.CONNECTION_FAILED) from error

    def _next_frame(self) -> wire.Frame:
        try:
            while (frame := self._assembler.next()) is None:
                self._assembler.add(self._receive())
        except wire.FramingError as error:
            raise RequestFailed(wire.CONNECTION_FAILED) from error
        return frame

    def _receive(self) -> bytes:
        try:
            if self.deadline is not None:
                # A time of 0 would mean not to wait at all, and not to say that it is up.
                self._socket.settimeout(max(self.deadline - time.monotonic(), 0.001))
            data = self._socket.recv(65536)
        except TimeoutError as error:
            raise RequestFailed(wire.TIMEOUT) from error
        except OSError as error:
            raise RequestFailed(wire.CONNECTION_FAILED) from error
        if not data:
            raise RequestFailed(wire.CONNECTION_FAILED)
        return data


def answer_end_signals(survive: bool) -> None:
    """Whether SIGINT and SIGTERM leave the command to its work, or raise EndRequested in it."""
    def end(*_: object) -> None:
        answer_end_signals(survive=True)
        raise EndRequested

    for number in (SIGINT, SIGTERM):
        signal(number, SIG_IGN if survive else end)
