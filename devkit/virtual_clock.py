# SPDX-License-Identifier: Apache-2.0
"""A clock in a file, which programs with the library of virtual-time/ follow, and so can whoever tests them.

It stands still, except that waits move it: a program that sleeps for an hour has slept at once.
"""

from __future__ import annotations

import ctypes
import mmap
from collections.abc import Mapping
from pathlib import Path

MAGIC = 0x31454D49544E5256
NANOSECONDS = 1_000_000_000
# Between the two clocks of a program there must be more than any of its time-outs, see virtual-time/locks.cpp.
STARTED_AT = 1_000_000
FOREVER = 2**63 - 1


class _Page(ctypes.Structure):
    """As virtual-time/page.h has it."""

    _fields_ = (("magic", ctypes.c_uint64), ("monotonic", ctypes.c_int64), ("wall_offset", ctypes.c_int64),
                ("limit", ctypes.c_int64), ("speed", ctypes.c_int64))


class VirtualClock:
    """Times are in seconds; `speed` is how many of them a real one takes at most while a program waits for another."""

    def __init__(self, path: Path, library: Path, wall: float, speed: int = 50) -> None:
        self.path = path
        self.library = library
        path.write_bytes(bytes(ctypes.sizeof(_Page)))
        with open(path, "r+b") as file:
            self._page = _Page.from_buffer(mmap.mmap(file.fileno(), ctypes.sizeof(_Page)))
        self._page.monotonic = STARTED_AT * NANOSECONDS
        self._page.limit = FOREVER
        self._page.speed = speed
        self.set_wall(wall)
        self._page.magic = MAGIC
        self._advance = ctypes.CDLL(str(library)).virtual_time_advance
        self._advance.argtypes = [ctypes.POINTER(_Page), ctypes.c_int64]
        self._advance.restype = None

    @property
    def environment(self) -> Mapping[str, str]:
        """What a program and its children need to follow this clock."""
        return {"LD_PRELOAD": str(self.library), "ZEPHRAN_VIRTUAL_TIME": str(self.path)}

    def elapsed(self) -> float:
        """How much time has passed since the clock was made, whatever the wall clock shows."""
        return self._page.monotonic / NANOSECONDS - STARTED_AT

    def wall(self) -> float:
        """What the wall clock shows, in seconds since 1970."""
        return (self._page.monotonic + self._page.wall_offset) / NANOSECONDS

    def set_wall(self, time: float) -> None:
        """Sets the wall clock, as a time server does: in either direction, and the other clock stays."""
        self._page.wall_offset = round(time * NANOSECONDS) - self._page.monotonic

    def advance(self, seconds: float) -> None:
        """Lets time pass on both clocks."""
        self._advance(ctypes.byref(self._page), round(seconds * NANOSECONDS))

    def stop_after(self, seconds: float) -> None:
        """Lets no wait move the clock further than this from now: programs then wait until it is called again."""
        self._page.limit = self._page.monotonic + round(seconds * NANOSECONDS)

    def run_freely(self) -> None:
        """Lets waits move the clock as far as they want."""
        self._page.limit = FOREVER
