# SPDX-License-Identifier: Apache-2.0
"""The command line of the message bus."""
from __future__ import annotations

import os
import sys
import time

from . import wire
from .client import Connection, EndRequested, RequestFailed, answer_end_signals
from .options import UsageError, parse
from .values import from_json, to_json

USAGE = """\
Usage: ubus [-s socket] [-t seconds] [-S] [-v] list [path]
       ubus [-s socket] [-t seconds] [-S] call path method [json]
       ubus [-s socket] [-t seconds] wait_for name...
       ubus [-s socket] [-t seconds] listen [pattern...]
       ubus [-s socket] [-t seconds] subscribe path...
"""
DEFAULT_TIMEOUT = 30
# As many seconds as fit into an int of C as milliseconds.
LONGEST_TIMEOUT = 2147483

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterator

STATUS_TEXTS = ("Success", "Invalid command", "Invalid argument", "Method not found", "Not found",
                "No response", "Permission denied", "Request timed out", "Operation not supported",
                "Unknown error", "Connection failed", "Out of memory", "Parsing message data failed",
                "System error")
TYPE_NAMES = {wire.ARRAY: "Array", wire.TABLE: "Table", wire.STRING: "String",
              wire.INT32: "Integer", wire.INT8: "Boolean"}
# What a command returns that was called in a way that it does not know.
MISUSED = -2


class Command:
    """The options, and what is done on the bus with them."""

    def __init__(self, options: dict[str, str], words: list[str]) -> None:
        if not words:
            raise UsageError
        self._name, *self._words = words
        self._path = options.get("s", wire.DEFAULT_SOCKET)
        self._limit = number_in(options["t"]) if "t" in options else None
        self._simple = "S" in options
        self._verbose = "v" in options

    def run(self) -> int:
        """The status of the bus, with a minus where the device has one."""
        # The library of a device lets its programs go on. Those that wait for events end their wait.
        answer_end_signals(survive=self._name not in ("wait_for", "listen", "subscribe"))
        try:
            status = self._perform(Connection(self._path))
        except OSError:
            self._complain("Failed to connect to ubus")
            return -1
        except EndRequested:
            status = wire.TIMEOUT if self._name == "wait_for" else wire.OK
        if status > 0:
            self._complain(f"Command failed: {_reason(status)}")
        elif status == MISUSED:
            sys.stderr.write(USAGE)
        return status

    def _perform(self, bus: Connection) -> int:
        method, fewest, most = COMMANDS.get(self._name, (Command._list, 1, 0))
        if not fewest <= len(self._words) <= most:
            return MISUSED
        try:
            return method(self, bus)
        except RequestFailed as failure:
            return _signed(failure.status)

    def _complain(self, text: str) -> None:
        if not self._simple:
            print(text, file=sys.stderr)

    def _list(self, bus: Connection) -> int:
        """Objects by name; verbosely also their methods with the types of the arguments."""
        shown = []

        def take(frame: wire.Frame) -> None:
            found = frame.attributes
            name = wire.cut(found[wire.A_PATH])
            if self._verbose and not self._simple:
                shown.append(b"'%s' @%08x\n" % (name, found[wire.A_ID]) + _methods(found.get(wire.A_SIGNATURE, b"")))
            else:
                shown.append(name + b"\n")

        bus.request(wire.LOOKUP, wire.text(wire.A_PATH, self._words[0]) if self._words else b"", on_data=take)
        show(b"".join(shown))
        return wire.OK

    def _call(self, bus: Connection) -> int:
        """Calls a method and prints each reply."""
        path, method, *json = self._words
        try:
            arguments = from_json(json[0]) if json else b""
        except ValueError:
            return self._call_failed(wire.PARSE_ERROR)
        called = bus.find(path)
        limit = DEFAULT_TIMEOUT if self._limit is None else self._limit
        bus.deadline = time.monotonic() + limit if limit else None
        try:
            bus.call(called, method, arguments, lambda reply: show(to_json(reply, not self._simple) + b"\n"))
        except RequestFailed as failure:
            return self._call_failed(_signed(failure.status))
        return wire.OK

    def _call_failed(self, status: int) -> int:
        """People are told the reason alone; a log is told which call it was."""
        if self._simple or os.isatty(sys.stderr.fileno()):
            return status
        self._complain(f"Command failed: ubus call {' '.join(self._words)} ({_reason(status)})")
        return -status

    def _wait_for(self, bus: Connection) -> int:
        """Returns once there is an object of each of the names; a request to end counts as time-out."""
        # In this order no object can appear unnoticed between the two.
        bus.listen(["ubus.object.add"])
        there: list[wire.Frame] = []
        bus.request(wire.LOOKUP, on_data=there.append)
        missing = set(self._words) - {os.fsdecode(wire.cut(each.attributes[wire.A_PATH])) for each in there}
        bus.deadline = time.monotonic() + (DEFAULT_TIMEOUT if self._limit is None else self._limit)
        for _, values in _events_until_the_deadline(bus) if missing else ():
            missing -= {_text_of(values, b"path")}
            if not missing:
                break
        return wire.TIMEOUT if missing else wire.OK

    def _listen(self, bus: Connection) -> int:
        """Prints events until the time is up, or the process is asked to end."""
        bus.listen(self._words or ["*"])
        return self._show_events(bus)

    def _subscribe(self, bus: Connection) -> int:
        """Prints what objects notify their subscribers of, like events."""
        if not self._words:
            self._complain("You need to specify an object to subscribe to")
            return -1
        for path in self._words:
            try:
                bus.subscribe(path)
            except RequestFailed as failure:
                self._complain(f"Error while registering for event '{path}': {_reason(failure.status)}")
                return -1
        return self._show_events(bus)

    def _show_events(self, bus: Connection) -> int:
        bus.deadline = time.monotonic() + self._limit if self._limit else None
        for name, values in _events_until_the_deadline(bus):
            show(b'{ "%s": %s }\n' % (name.encode(), to_json(values)))
        return wire.OK


COMMANDS = {"list": (Command._list, 0, 1), "call": (Command._call, 2, 3),
            "wait_for": (Command._wait_for, 1, sys.maxsize), "listen": (Command._listen, 0, sys.maxsize),
            "subscribe": (Command._subscribe, 0, sys.maxsize)}


def _events_until_the_deadline(bus: Connection) -> Iterator[tuple[str, bytes]]:
    """Like the device, it does not notice that the broker has gone."""
    try:
        while True:
            yield bus.next_event()
    except RequestFailed:
        while bus.deadline is None or time.monotonic() < bus.deadline:
            time.sleep(1 if bus.deadline is None else max(0, bus.deadline - time.monotonic()))


def show(data: bytes) -> None:
    """Past the buffers of Python. Like the device, it does not mind when nobody takes the output."""
    try:
        while data:
            data = data[os.write(sys.stdout.fileno(), data):]
    except OSError:
        return


def number_in(word: str) -> int:
    """The number at the start of a word, as atoi of C takes it."""
    text = word.strip()
    sign, digits = (text[:1], text[1:]) if text[:1] in ("+", "-") else ("", text)
    end = next((n for n, each in enumerate(digits) if each not in "0123456789"), len(digits))
    return min(int(sign + digits[:end]), LONGEST_TIMEOUT) if end else 0


def _signed(status: int) -> int:
    return status - (1 << 32) if status >= 1 << 31 else status


def _reason(status: int) -> str:
    return STATUS_TEXTS[status] if 0 <= status < len(STATUS_TEXTS) else f"Unknown error: {status}"


def _methods(signature: bytes) -> bytes:
    lines = b""
    for method in filter(None, (wire.named_value(*each) for each in wire.split(signature)[0])):
        arguments = filter(None, (wire.named_value(*each) for each in wire.split(method[2])[0]))
        types = [b'"%s":"%s"' % (name, TYPE_NAMES.get(int.from_bytes(value, "big"), "(unknown)").encode())
                 for _, name, value in arguments]
        lines += b'\t"%s":{%s}\n' % (method[1], b",".join(types))
    return lines


def _text_of(values: bytes, name: bytes) -> str:
    for key, payload in wire.split(values)[0]:
        found = wire.named_value(key, payload)
        if found and found[:2] == (wire.STRING, name):
            return os.fsdecode(wire.cut(found[2]))
    return ""


def main(arguments: list[str]) -> int:
    try:
        return Command(*parse(arguments, flags="Sv", valued="st")).run() % 256
    except UsageError:
        sys.stderr.write(USAGE)
        return 1
