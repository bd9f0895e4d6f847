# SPDX-License-Identifier: Apache-2.0
"""The command line of the message bus."""
from __future__ import annotations

import os
import sys
import time

from . import wire
from .client import Connection, RequestFailed, answer_end_signals
from .options import UsageError, parse
from .values import from_json, to_json

USAGE = """\
Usage: ubus [-s socket] [-t seconds] [-S] [-v] list [path]
       ubus [-s socket] [-t seconds] [-S] call path method [json]
       ubus [-s socket] [-t seconds] wait_for name...
       ubus [-s socket] listen [pattern...]
"""
DEFAULT_TIMEOUT = 30
# As many seconds as fit into an int of C as milliseconds.
LONGEST_TIMEOUT = 2147483

STATUS_TEXTS = ("Success", "Invalid command", "Invalid argument", "Method not found", "Not found",
                "No response", "Permission denied", "Request timed out", "Operation not supported",
                "Unknown error", "Connection failed", "Out of memory", "Parsing message data failed",
                "System error")
TYPE_NAMES = {wire.ARRAY: "Array", wire.TABLE: "Table", wire.STRING: "String", wire.INT64: "Integer",
              wire.INT32: "Integer", wire.INT16: "Integer", wire.INT8: "Boolean", wire.DOUBLE: "Double"}


class Failure(Exception):
    """Ends the command with a text and an exit status."""

    def __init__(self, text: str, status: int) -> None:
        super().__init__(text)
        self.status = status % 256


class Command:
    """The options, and what is done on the bus with them."""

    def __init__(self, options: dict[str, str], words: list[str]) -> None:
        if not words or words[0] not in COMMANDS:
            raise UsageError
        self._run, fewest, most = COMMANDS[words[0]]
        self._words = words[1:]
        if not fewest <= len(self._words) <= most:
            raise UsageError
        self._path = options.get("s", wire.DEFAULT_SOCKET)
        self._timeout = _seconds(options["t"]) if "t" in options else DEFAULT_TIMEOUT
        self._simple = "S" in options
        self._verbose = "v" in options

    def run(self) -> None:
        try:
            self._run(self, self._connect())
        except RequestFailed as failure:
            raise Failure(f"Command failed: {_reason(failure.status)}", failure.status) from failure

    def _connect(self) -> Connection:
        # The library of a device lets its programs go on. Those that wait for events undo that.
        answer_end_signals(survive=self._run in (Command._list, Command._call))
        try:
            return Connection(self._path)
        except OSError as error:
            raise Failure("Failed to connect to ubus", 255) from error

    def _deadline(self) -> float | None:
        return time.monotonic() + self._timeout if self._timeout else None

    def _list(self, bus: Connection) -> None:
        """Objects by name; verbosely also their methods with the types of the arguments."""
        shown = []

        def take(frame: wire.Frame) -> None:
            found = frame.attributes
            name = wire.cut(found[wire.A_PATH])
            if self._verbose:
                shown.append(b"'%s' @%08x\n" % (name, found[wire.A_ID]) + _methods(found.get(wire.A_SIGNATURE, b"")))
            else:
                shown.append(name + b"\n")

        bus.request(wire.LOOKUP, wire.text(wire.A_PATH, self._words[0]) if self._words else b"", on_data=take)
        show(b"".join(shown))

    def _call(self, bus: Connection) -> None:
        """Calls a method and prints each reply."""
        path, method, *json = self._words
        called = bus.find(path)
        try:
            arguments = from_json(json[0]) if json else b""
        except ValueError as error:
            raise self._call_failure(wire.PARSE_ERROR) from error
        bus.deadline = self._deadline()
        try:
            bus.call(called, method, arguments, lambda reply: show(to_json(reply, not self._simple) + b"\n"))
        except RequestFailed as failure:
            raise self._call_failure(failure.status) from failure

    def _call_failure(self, status: int) -> Failure:
        """People are told the reason alone; a log is told which call it was."""
        reason = _reason(status)
        terminal = os.isatty(sys.stderr.fileno())
        text = reason if terminal else f"ubus call {self._words[0]} {self._words[1]} ({reason})"
        return Failure(f"Command failed: {text}", status if terminal or self._simple else -status)

    def _wait_for(self, bus: Connection) -> None:
        """Returns once there is an object of each of the names."""
        deadline = self._deadline()
        # In this order no object can appear unnoticed between the two.
        bus.listen(["ubus.object.add"])
        missing = {name for name in self._words if not _exists(bus, name)}
        bus.deadline = deadline
        while missing:
            _, values = bus.next_event()
            missing -= {_text_of(values, b"path")}

    def _listen(self, bus: Connection) -> None:
        """Prints events until the process is ended or nobody takes them any more."""
        bus.listen(self._words or ["*"])
        while True:
            name, values = bus.next_event()
            show(b'{ "%s": %s }\n' % (name.encode(), to_json(values)))


COMMANDS = {"list": (Command._list, 0, 1), "call": (Command._call, 2, 3),
            "wait_for": (Command._wait_for, 1, sys.maxsize), "listen": (Command._listen, 0, sys.maxsize)}


def show(data: bytes) -> None:
    """Past the buffers of Python, which would hold what cannot be written until its end."""
    try:
        while data:
            data = data[os.write(sys.stdout.fileno(), data):]
    except OSError as error:
        raise Failure("ubus: the output cannot be written", 1) from error


def _seconds(word: str) -> int:
    if not (word.isascii() and word.isdigit()) or int(word) > LONGEST_TIMEOUT:
        raise UsageError
    return int(word)


def _reason(status: int) -> str:
    signed = status - (1 << 32) if status >= 1 << 31 else status
    return STATUS_TEXTS[signed] if 0 <= signed < len(STATUS_TEXTS) else f"Unknown error: {signed}"


def _methods(signature: bytes) -> bytes:
    lines = b""
    for method in filter(None, (wire.named_value(*each) for each in wire.split(signature)[0])):
        arguments = filter(None, (wire.named_value(*each) for each in wire.split(method[2])[0]))
        types = [b'"%s":"%s"' % (name, TYPE_NAMES.get(int.from_bytes(value, "big"), "(unknown)").encode())
                 for _, name, value in arguments]
        lines += b'\t"%s":{%s}\n' % (method[1], b",".join(types))
    return lines


def _exists(bus: Connection, name: str) -> bool:
    try:
        bus.find(name)
    except RequestFailed:
        return False
    return True


def _text_of(values: bytes, name: bytes) -> str:
    for key, payload in wire.split(values)[0]:
        found = wire.named_value(key, payload)
        if found and found[:2] == (wire.STRING, name):
            return os.fsdecode(wire.cut(found[2]))
    return ""


def main(arguments: list[str]) -> int:
    try:
        Command(*parse(arguments, flags="Sv", valued="st")).run()
    except UsageError:
        sys.stderr.write(USAGE)
        return 1
    except Failure as failure:
        print(failure, file=sys.stderr)
        return failure.status
    return 0
