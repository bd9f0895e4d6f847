# SPDX-License-Identifier: Apache-2.0
"""A release of all part types, and the deployment after it, on a gateway that has hardly enough of anything."""
import contextlib

from bench import Bench
from confinement import MEGABYTE, Confinement, is_available
from gateway import GatewayError
from hawkbit_server import Status
from history import History, Violation, configuration, demand
from part import DIVIDER, VIOLATION, Part

MEMORY = 64 * MEGABYTE
DESCRIPTORS = 32
# Of one processor.
PROCESSOR = 0.2
IMAGE = 12 * MEGABYTE
# What /tmp has beside the largest artifact. With the shipped options 4 MB have to stay free.
ROOMS = {"artifact and 1 MB": MEGABYTE, "artifact and 5 MB": 5 * MEGABYTE}


class SmallBench(Bench):
    """Its gateway is confined from the daemon's first start on; without control groups each of its programs is."""

    def __init__(self, *arguments, **settings):
        super().__init__(*arguments, **settings)
        self.confinement = None
        self.wrap = self._confine

    def _confine(self, command, env):
        limits = [f"--nofile={DESCRIPTORS}"]
        if not is_available():
            limits.append(f"--data={MEMORY}")
        elif self.confinement is None:
            self.confinement = Confinement(self.gateway, MEMORY, PROCESSOR)
        return ["/usr/bin/prlimit", *limits, "--", *command], env

    def close(self):
        try:
            super().close()
        finally:
            if self.confinement:
                self.confinement.close()


class SmallHistory(History):
    """A release on such a gateway."""

    def make_bench(self, directory, pki, options):
        return SmallBench(directory, pki, tmp_size=str(IMAGE + self.room), config=configuration(options),
                          poll="00:05:00")

    def __init__(self, directory, pki, options, room):
        self.room = room
        super().__init__(directory, pki, options, image_size=IMAGE)


class Cases(Part):
    """A case is the options of the gateway and the size of its /tmp."""

    summary = "a release on 64 MB of memory, a fifth of a processor, 32 descriptors, and a small /tmp"
    columns = ("Options", "Size of /tmp")

    def cases(self):
        return {DIVIDER.join([options, room]): (options, room) for options in ("none", "shipped") for room in ROOMS}

    def run(self, case):
        options, room = case
        history = SmallHistory(self.workshop.make_directory(), self.workshop.pki, options, ROOMS[room])
        try:
            with contextlib.closing(history):
                history.play()
                outcome = judge(history, is_enough=options == "none" or ROOMS[room] > 4 * MEGABYTE)
                return outcome, used(history.bench.confinement)
        except (Violation, TimeoutError, AssertionError, GatewayError) as error:
            return VIOLATION, str(error)[:300]


def judge(history, is_enough):
    """What has become of the release, which must be what the gateway has room for."""
    messages = [message for entry in history.action.entries for message in entry.messages]
    outcome = history.judge(history.exchanges())
    confinement = history.bench.confinement
    demand(confinement is None or confinement.killed == 0, "the kernel has ended a process for want of memory")
    if is_enough:
        demand(history.action.status is Status.FINISHED, f"failed: {messages}")
        return outcome
    demand(history.action.status is Status.ERROR, "installed without room for it")
    demand(any("Not enough space" in message for message in messages), f"failed for another reason: {messages}")
    return "refused for want of space"


def used(confinement):
    """What the gateway has needed at most."""
    if confinement is None:
        return "held to the limits of each process only, as there are no control groups of version 1"
    return (f"{confinement.peak / MEGABYTE:.1f} MB in all, {confinement.daemon_memory / MEGABYTE:.1f} MB and "
            f"{confinement.descriptors} descriptors for the daemon")
