# SPDX-License-Identifier: Apache-2.0
"""What the tests of downloads have in common."""
from hawkbit_server import Cut, Stall


def configure(bench, **options):
    for name, value in options.items():
        bench.configure(f"network.{name}", value)


def large_script(bench, size, command="exit 0"):
    """A script that ends before its padding."""
    text = f"#!/bin/sh\n{command}\nexit 0\n"
    padding = "".join(f"# {number:08}\n" for number in range(size // 11 + 1))
    return bench.module("script", "large", "1.0", {"large.sh": (text + padding)[:size].encode()})


def downloads(bench):
    """The artifact requests so far: (status, bytes, range)."""
    return [(each.status, each.sent, each.headers.get("range")) for each in bench.server.exchanges("artifact")]


def lines_with(daemon, event):
    return [line.partition("event=")[2] for line in daemon.log.splitlines() if f"event={event} " in line]


def partial_files(bench):
    return [name for name in bench.gateway.leftovers() if name.endswith(".part")]


def cut_every(bench, count, times=None):
    bench.server.order("artifact", Cut(count), times=times)


def start_stalled_download(bench, size=100_000, after=40_000, start=None):
    """Holds a download in its middle; `start` starts the daemon in another way than start() does."""
    stall = Stall(after)
    bench.server.order("artifact", stall)
    action = bench.assign(large_script(bench, size))
    daemon = (start or bench.start)()
    bench.wait_until(stall.reached.is_set, "the middle of the download")
    return action, daemon, stall


def wait_for_part(bench, folder, size=40_000):
    """Waits until all that the server has sent so far is written."""
    part = folder / "large.sh.part"
    bench.wait_until(lambda: part.exists() and part.stat().st_size == size, "what the server has sent")
