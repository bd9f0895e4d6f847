# SPDX-License-Identifier: Apache-2.0
"""Reads what a program writes, line by line, as it is written.

The program gets a pseudo terminal for each stream: its C library then writes every line at once. With a file or
a pipe it would buffer some kilobytes.
"""
import os
import re
import select
import threading
import time
import tty
from pathlib import Path
from typing import NamedTuple

# Seconds. A program that writes without a pause is always a little ahead of its reader.
CATCH_UP_TIMEOUT = 5


class Line(NamedTuple):
    """One line without its end; `stream` is "out" or "err"."""

    stream: str
    text: str


class Output:
    """Everything one program has written so far; safe to read while it runs."""

    def __init__(self, copy_to: Path) -> None:
        self._lines: list[Line] = []
        self._copy = open(copy_to, "ab")  # noqa: SIM115  # the reading thread closes it
        self._changed = threading.Condition()
        self._masters: dict[int, str] = {}
        self.slaves: list[int] = []
        for stream in ("out", "err"):
            master, slave = os.openpty()
            tty.setraw(slave)
            self._masters[master] = stream
            self.slaves.append(slave)
        self._reader = threading.Thread(target=self._read, daemon=True)

    def start(self) -> None:
        """To be called once the program has the slave ends."""
        for slave in self.slaves:
            os.close(slave)
        self._reader.start()

    def join(self, timeout: float) -> None:
        """Waits at most `timeout` seconds until the program has closed both streams."""
        self._reader.join(timeout)

    @property
    def lines(self) -> list[Line]:
        """All lines that are complete at the time of the call."""
        with self._changed:
            self._catch_up()
            return self._lines.copy()

    def text(self, stream: str | None = None) -> str:
        """What was written to one stream, or to both."""
        return "".join(line.text + "\n" for line in self.lines if stream in (None, line.stream))

    def _catch_up(self) -> None:
        """Waits until the reader, which may lag on a busy machine, has read what was written so far."""
        deadline = time.monotonic() + CATCH_UP_TIMEOUT
        while self._ready(0) and time.monotonic() < deadline:
            self._changed.wait(0.05)

    def _ready(self, timeout: float | None) -> list[int]:
        """The terminals that have something to read or have been closed."""
        poll = select.poll()
        for master in self._masters:
            poll.register(master, select.POLLIN)
        return [master for master, _ in poll.poll(timeout)]

    def wait_for(self, pattern: str, timeout: float, start: int = 0) -> tuple[re.Match[str] | None, int]:
        """Looks for a regular expression in the lines from number `start` on.

        Returns the first match, or None, and the number of the first line not looked at.
        """
        expression = re.compile(pattern)
        deadline = time.monotonic() + timeout
        with self._changed:
            while True:
                for line in self._lines[start:]:
                    start += 1
                    match = expression.search(line.text)
                    if match:
                        return match, start
                if time.monotonic() >= deadline:
                    return None, start
                self._changed.wait(0.1)

    def _read(self) -> None:
        rests = dict.fromkeys(self._masters, b"")
        while self._masters:
            for master in self._ready(None):
                # Nobody may look between the reading and the storing of a line.
                with self._changed:
                    rests[master] = self._take(master, rests[master])
                    self._changed.notify_all()
        self._copy.close()

    def _take(self, master: int, rest: bytes) -> bytes:
        """Stores the complete lines and returns the rest."""
        try:
            data = os.read(master, 65536)
        except OSError:  # EIO: the other end of the terminal is closed
            data = b""
        *whole, rest = (rest + data).split(b"\n")
        if not data and rest:
            whole, rest = [*whole, rest], b""
        self._copy.write(b"".join(line + b"\n" for line in whole))
        self._copy.flush()
        self._lines += [Line(self._masters[master], line.decode(errors="replace")) for line in whole]
        if not data:
            del self._masters[master]
            os.close(master)
        return rest
