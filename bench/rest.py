# SPDX-License-Identifier: Apache-2.0
"""Measures the daemon's start and its rest beside a floor: the least program of the same shape (floor.cpp).

Each of the two has a simulated gateway with a message bus of its own. They share an update server, and rest at the
same time.

The start of both contains one whole second: the daemon's first step leads to the state that polls, its second step
polls, and between steps it sleeps.
"""
import contextlib
import os
import pathlib
import re
import statistics
import sys
import time
from dataclasses import dataclass

from gateway_processes import cpu_clock, daemon_of

PROJECT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(PROJECT / "tests/daemon"))

STARTS = 5
TIMEOUT = 60
# Seconds. A window begins when both have settled, and has the time of one polling: one poll is due in it.
SETTLING = 10
POLLING = 300
NAMES = ("daemon", "floor")


class Wrong(Exception):
    """A program did not start, or did something else in the window than to rest and to poll once."""


@dataclass
class Measured:
    """Of one program: seconds until its first request, kB of dirty memory, CPU seconds in the window."""

    start: float
    dirty: int
    cpu: float


def measure(build, pki, directory, window):
    """Returns what was measured of the daemon and of the floor."""
    os.environ["ZEPHRAN_BUILD_DIR"] = str(build)
    from hawkbit_server import Tls, UpdateServer
    polling = f"{window // 3600:02}:{window // 60 % 60:02}:{window % 60:02}"
    with contextlib.ExitStack() as open_things:
        server = open_things.enter_context(
            UpdateServer(Tls(pki.server.certificate, pki.server.key), poll=polling))
        sides = [_make_side(build, name, directory / name, server, pki, window) for name in NAMES]
        for side in sides:
            open_things.callback(side.close_gateway)
        starts = [[side.start_up() for side in sides] for _ in range(STARTS)]
        return _rest(sides, [statistics.median(each) for each in zip(*starts, strict=True)], window)


def _rest(sides, starts, window):
    for side in sides:
        side.settle()
    time.sleep(SETTLING)
    pids = [daemon_of(side) for side in sides]
    before, polls = _spent(pids), [side.polls() for side in sides]
    time.sleep(window)
    spent = [late - early for early, late in zip(before, _spent(pids), strict=True)]
    polled = [side.polls() - early for side, early in zip(sides, polls, strict=True)]
    if polled != [1, 1]:
        raise Wrong(f"daemon and floor polled {polled} times in the window, not once")
    return [Measured(start, _dirty(pid), cpu) for start, pid, cpu in zip(starts, pids, spent, strict=True)]


def _spent(pids):
    return [time.clock_gettime(cpu_clock(pid)) for pid in pids]


def _dirty(pid):
    """kB of memory that only this process has, and that cannot be read again from a file."""
    summary = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    return int(re.search(r"^Private_Dirty: +(\d+) kB$", summary, re.M)[1])


def _make_side(build, name, directory, server, pki, window):
    # Imported late: it reads ZEPHRAN_BUILD_DIR on import.
    from gateway_bench import GatewayBench

    class Side(GatewayBench):
        """A gateway with one of the two programs."""

        def polls(self):
            return len(server.exchanges("base", name))

        def start(self):
            address = f"localhost:{server.port}"
            if name == "daemon":
                return self.start_for(name, address, pki.ca, level="INFO")
            url = f"https://{address}/DEFAULT/controller/v1/{name}"
            return self.gateway.start_daemon(
                [build / "bench/zephran_floor", "--url", url, "--ca-bundle", pki.ca, "--poll", window])

        def start_up(self):
            """Starts the program, ends it at its first request, and returns the seconds between."""
            earlier, begin = self.polls(), time.time()
            program = self.start()
            self.wait_for_polls(earlier + 1)
            arrived = server.exchanges("base", name)[earlier].arrived
            program.kill()
            return arrived - begin

        def settle(self):
            """Starts the program and waits until its next poll is due only after the time of one polling."""
            earlier = self.polls()
            self.start()
            # The daemon's first poll leads to its attributes; it polls again at once.
            self.wait_for_polls(earlier + (2 if name == "daemon" else 1))

        def wait_for_polls(self, count):
            server.wait_for(lambda: self.polls() >= count, TIMEOUT, f"{count} polls of the {name}")

    directory.mkdir(parents=True)
    return Side(directory, visible=[pki.ca.parent], tmp_size="16m")


def rows(ours, theirs, window):
    """The lines to print."""
    yield _row("start until the first request", ours.start * 1000, theirs.start * 1000, "ms")
    yield _row("dirty memory at rest", ours.dirty, theirs.dirty, "kB")
    hour = 3600 / window
    yield _row(f"CPU of an hour, {hour:.0f} polls", ours.cpu * hour, theirs.cpu * hour, "s ")


def _row(what, ours, theirs, unit):
    return f"{what:<34} {ours:8.2f} {unit}  floor    {theirs:8.2f} {unit}  ratio {ours / theirs:5.2f}"
