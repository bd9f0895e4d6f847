"""Reads what a program writes, line by line, as it is written.

The program gets a pseudo terminal for each stream: its C library then hands over every line at
once, where it would keep some kilobytes back for a file or a pipe.
"""
import os
import re
import selectors
import threading
import time
import tty
from typing import NamedTuple


class Line(NamedTuple):
    stream: str  # "out" or "err"
    text: str


class Output:
    """Everything one program has written so far; safe to read while it runs."""

    def __init__(self, copy_to):
        self.lines = []
        self._copy = open(copy_to, "ab")
        self._changed = threading.Condition()
        self._masters, self.slaves = {}, []
        for stream in ("out", "err"):
            master, slave = os.openpty()
            tty.setraw(slave)
            self._masters[master] = stream
            self.slaves.append(slave)
        self._reader = threading.Thread(target=self._read, daemon=True)

    def start(self):
        """To be called when the program has the slave ends."""
        for slave in self.slaves:
            os.close(slave)
        self._reader.start()

    def join(self, timeout):
        self._reader.join(timeout)

    def text(self, stream=None):
        with self._changed:
            return "".join(line.text + "\n" for line in self.lines
                           if stream in (None, line.stream))

    def wait_for(self, pattern, timeout, start=0):
        """Looks for a regular expression in the lines from number `start` on.

        Returns the first match, or None, and the number of the first line not looked at.
        """
        expression = re.compile(pattern)
        deadline = time.monotonic() + timeout
        with self._changed:
            while True:
                for line in self.lines[start:]:
                    start += 1
                    match = expression.search(line.text)
                    if match:
                        return match, start
                if time.monotonic() >= deadline:
                    return None, start
                self._changed.wait(0.1)

    def _read(self):
        rests = {master: b"" for master in self._masters}
        selector = selectors.DefaultSelector()
        for master in rests:
            selector.register(master, selectors.EVENT_READ)
        while selector.get_map():
            for key, _ in selector.select():
                try:
                    data = os.read(key.fd, 65536)
                except OSError:  # a terminal whose other end is closed answers EIO
                    data = b""
                if not data:
                    selector.unregister(key.fd)
                    os.close(key.fd)
                rests[key.fd] = self._take(self._masters[key.fd], rests[key.fd], data)
        self._copy.close()

    def _take(self, stream, rest, data):
        *whole, rest = (rest + data).split(b"\n")
        if not data and rest:
            whole, rest = [*whole, rest], b""
        for line in whole:
            self._copy.write(line + b"\n")
        self._copy.flush()
        with self._changed:
            self.lines += [Line(stream, line.decode(errors="replace")) for line in whole]
            self._changed.notify_all()
        return rest
