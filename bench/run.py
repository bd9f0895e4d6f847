# SPDX-License-Identifier: Apache-2.0
"""Measures parts of the daemon alternately with tools that do the same, and prints the ratios.

Only the ratios are meaningful, as both sides are measured on the same machine within the same seconds.
A slow result is not a failure; a wrong one is.
"""
import argparse
import os
import pathlib
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import fleet
import rest
from file_server import FileServer
from option_transfers import Transfers
from pki import Pki

BIG, SMALL = 200_000_000, 20_000_000
RUNS = 7
LOOP_TURNS, LOG_TURNS, TICKS = 200_000_000, 200_000_000, 2_000_000
AGENTS, ITERATIONS = 101, 20_000
PASS_SECONDS = 1
SPACE = 3 * BIG
FLEET, FLEET_WINDOW = 50, 120


class Wrong(Exception):
    """A result is wrong."""


def run(*command):
    """Runs a program to its end. Returns the seconds it took and what it printed."""
    begin = time.perf_counter()
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False)
    seconds = time.perf_counter() - begin
    if done.returncode != 0:
        raise Wrong(f"{' '.join(map(str, command))} ended with {done.returncode}: {done.stderr}")
    return seconds, done.stdout


def in_turns(ours, theirs):
    """Median seconds of both, measured alternately after a warm-up run of each."""
    seconds = ([], [])
    for turn in range(RUNS + 1):
        for measured, measure in zip(seconds, (ours, theirs), strict=True):
            spent = measure()
            if turn:
                measured.append(spent)
    return tuple(map(statistics.median, seconds))


def print_ratio(what, ours, theirs, reference):
    print(f"{what:<34} {ours:8.3f} s   {reference:<8} {theirs:8.3f} s   ratio {ours / theirs:5.2f}",
          flush=True)


class Files:
    """Makes the artifacts to download, and the directory for downloads."""

    def __init__(self, directory):
        self.directory = directory
        self.served = directory / "served"
        self.served.mkdir()
        source = random.Random(1)
        for name, size in (("big", BIG), ("small", SMALL)):
            with (self.served / name).open("wb") as file:
                for _ in range(size // 1_000_000):
                    file.write(source.randbytes(1_000_000))
        (self.served / "document").write_text('{"config":{"polling":{"sleep":"00:05:00"}}}')


def measure_download(program, files, server, authority):
    target = files.directory / "download"

    def ours():
        return run(program, "download", server.url("big"), target, authority)[0]

    def curl():
        return run("curl", "-sS", "--fail", "--cacert", authority, "-o", target,
                   server.url("big"))[0]

    print_ratio(f"download of {BIG // 1_000_000} MB over TLS", *in_turns(ours, curl), "curl")
    ours()
    run("cmp", files.served / "big", target)


def measure_memory(program, files, server, authority):
    target = files.directory / "download"
    peaks = {name: int(run(program, "download", server.url(name), target, authority)[1])
             for name in ("small", "big")}
    print(f"{'peak memory of a download':<34} {peaks['small']:8} kB for {SMALL // 1_000_000} MB, "
          f"{peaks['big']} kB for {BIG // 1_000_000} MB   ratio "
          f"{peaks['big'] / peaks['small']:5.2f}", flush=True)


def measure_transfers(program, files, server, authority):
    try:
        Transfers(program, files, server, authority, (run, in_turns, print_ratio)).measure()
    except AssertionError as error:
        raise Wrong(str(error)) from error


def measure_md5(program, files):
    path = files.served / "big"
    sums = {}

    def ours():
        seconds, sums["ours"] = run(program, "md5", path)
        return seconds

    def md5sum():
        seconds, sums["md5sum"] = run("md5sum", path)
        return seconds

    print_ratio(f"MD5 sum of {BIG // 1_000_000} MB", *in_turns(ours, md5sum), "md5sum")
    if sums["ours"].split() != sums["md5sum"].split()[:1]:
        raise Wrong(f"the MD5 sums differ: {sums}")


def nanoseconds(program, name, turns):
    return statistics.median(float(run(program, name, turns)[1]) for _ in range(3))


def measure_cpu(program):
    loop = nanoseconds(program, "empty-loop", LOOP_TURNS)
    log = nanoseconds(program, "disabled-log", LOG_TURNS)
    print(f"{'disabled logging statement':<34} {log:8.2f} ns  empty loop {loop:6.2f} ns   ratio "
          f"{log / loop:5.2f}", flush=True)
    tick = nanoseconds(program, "idle-tick", TICKS)
    print(f"{'tick of an idle agent':<34} {tick:8.0f} ns", flush=True)


def measure_loop(program):
    def iteration_of(agents):
        return lambda: float(run(program, "loop", agents, ITERATIONS)[1]) / 1e9

    many, one = in_turns(iteration_of(AGENTS), iteration_of(1))
    print(f"{f'loop with {AGENTS} agents at rest':<34} {many * 1e9:8.0f} ns  1 agent  "
          f"{one * 1e9:8.0f} ns   ratio {many / one:5.2f}", flush=True)
    longest = float(run(program, "pass", PASS_SECONDS * 1000)[1]) / 1e9
    print_ratio("longest step during discovery", longest, PASS_SECONDS, "the pass")


def measure_rest(build, directory, window):
    try:
        for line in rest.rows(*rest.measure(build, Pki(directory / "pki"), directory / "rest", window), window):
            print(line, flush=True)
    except (rest.Wrong, AssertionError) as error:
        raise Wrong(str(error)) from error


def measure_fleet(build, directory, window):
    try:
        result = fleet.measure(build, directory, FLEET, window)
    except fleet.NotMeasured as reason:
        print(f"{f'fleet of {FLEET} at a 5-minute poll':<34} not measured: {reason}", flush=True)
        return
    except fleet.Wrong as error:
        raise Wrong(str(error)) from error
    for line in fleet.rows(result, FLEET):
        print(line, flush=True)


def roomy_directory():
    """A directory in memory if there is room, so that the disk is not measured."""
    for candidate in ("/dev/shm", tempfile.gettempdir(), "/var/tmp"):
        if os.access(candidate, os.W_OK) and shutil.disk_usage(candidate).free > SPACE:
            return candidate
    raise Wrong(f"no directory has {SPACE // 1_000_000} MB to spare")


def measure_parts(program, directory):
    files = Files(directory)
    pki = Pki(directory / "pki")
    with FileServer(files.served, pki.server) as server:
        measure_download(program, files, server, pki.ca)
        measure_memory(program, files, server, pki.ca)
        measure_transfers(program, files, server, pki.ca)
    measure_md5(program, files)
    measure_cpu(program)
    measure_loop(program)


def main():
    parser = argparse.ArgumentParser(prog="script/bench", description=__doc__)
    parser.add_argument("program", type=pathlib.Path, help="the zephran_bench of the build")
    parser.add_argument("--rest-only", action="store_true", help="measures nothing but start and rest")
    parser.add_argument("--rest-window", type=int, default=rest.POLLING, metavar="SECONDS",
                        help="how long the rest is watched; one poll is due in that time")
    parser.add_argument("--fleet-only", action="store_true", help="measures nothing but the fleet")
    parser.add_argument("--fleet-window", type=int, default=FLEET_WINDOW, metavar="SECONDS",
                        help="how long the fleet is watched")
    chosen = parser.parse_args()
    try:
        with tempfile.TemporaryDirectory(prefix="zephran-bench-", dir=roomy_directory()) as name:
            directory = pathlib.Path(name)
            build = chosen.program.resolve().parents[1]
            if not chosen.fleet_only and not chosen.rest_only:
                measure_parts(chosen.program, directory)
            if not chosen.fleet_only:
                measure_rest(build, directory, chosen.rest_window)
            if not chosen.rest_only:
                measure_fleet(build, directory / "fleet", chosen.fleet_window)
    except (Wrong, OSError) as error:
        print(f"Error: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130
    return 0


if __name__ == "__main__":
    sys.exit(main())
