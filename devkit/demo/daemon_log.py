# SPDX-License-Identifier: Apache-2.0
"""Reads the daemon's log while it is being written."""
import re
import threading
from collections.abc import Mapping
from typing import NamedTuple

LINE = re.compile(r"\d\d:\d\d:\d\d (DEBUG|INFO|WARNING|ERROR) (\S+) (\w+): (.*)")
KEY = re.compile(r"(?:^| )(\w+)=")


class Record(NamedTuple):
    """One line of the log; `level` and `fields` are empty for a line that is no log line."""

    level: str
    fields: Mapping[str, str]
    text: str

    @property
    def event(self):
        return self.fields.get("event", "")


def parse(text):
    match = LINE.fullmatch(text)
    if not match:
        return Record("", {}, text)
    # Values are not quoted: each ends at the next key.
    body = match[4]
    keys = list(KEY.finditer(body))
    ends = [key.start() for key in keys[1:]] + [len(body)]
    fields = {key[1]: body[key.end():end] for key, end in zip(keys, ends, strict=True)}
    return Record(match[1], fields, text)


class Follower:
    """Passes every new line of a daemon to a function, in its own thread."""

    def __init__(self, daemon, take):
        self._output = daemon.output
        self._take = take
        self._stopping = threading.Event()
        self._thread = threading.Thread(target=self._follow, name="log follower", daemon=True)
        self._thread.start()

    def stop(self):
        """Returns when everything written so far has been passed on."""
        self._stopping.set()
        self._thread.join()

    def _follow(self):
        following = 0
        while True:
            # Checked before the lines are read, so that the last look misses none.
            is_last_look = self._stopping.is_set()
            match, following = self._output.wait_for("", 0 if is_last_look else 0.1, following)
            while match:
                self._take(parse(match.string))
                match, following = self._output.wait_for("", 0, following)
            if is_last_look:
                return
