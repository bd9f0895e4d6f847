# SPDX-License-Identifier: Apache-2.0
"""The life of a gateway in years: thousands of polls and a deployment from time to time, on virtual time.

Whatever a daemon uses up is sampled at rest, and must not grow: memory, descriptors, threads, children that nobody
collects, and what it logs for a poll.
"""
import dataclasses
import re
import time

from bench import Bench
from hawkbit_server import Status
from history import configuration
from processes import process_directory
from trend import trend_of

POLLING = 300
POLLS_OF_A_PIECE = 100
# Seconds; the clock counts finer than a number of seconds can say after a year.
RESOLUTION = 0.001
# The first samples see how caches and the pools of the memory fill.
WARM_UP = 0.2
# Bytes by which the pools of the memory may still grow while samples are taken, however few they are.
POOLS = 128 * 1024
# What may grow with each poll without being a leak that matters: at a poll every five minutes, 10 bytes are a megabyte
# a year, and a descriptor would be lost in ten years.
BOUNDS = {"memory": 10.0, "descriptors": 1e-6, "threads": 1e-6, "zombies": 1e-6, "log": 1e-3}


@dataclasses.dataclass(frozen=True)
class Sample:
    """What a daemon uses after so many polls; `log` is the bytes that it logged for each poll since the last sample."""

    polls: int
    memory: int
    descriptors: int
    threads: int
    zombies: int
    log: float


class Life:
    """One gateway, which polls every five minutes, and the deployments that it gets."""

    def __init__(self, directory, pki, options):
        self.bench = Bench(directory, pki, config=configuration(options), poll="00:05:00")
        self.clock = self.bench.follow_virtual_time(time.time())
        self.bench.start(level="INFO")
        self.daemon = self.bench.gateway.daemons[-1]
        self.deployments = 0
        self._logged = 0
        self._polls = 0

    def close(self):
        self.bench.close()

    @property
    def polls(self):
        return self.bench.server.target("gw-1").polls

    def live(self):
        """A hundred polls and one deployment; returns a sample."""
        self._deploy()
        self._wait_for_polls(self._polls + POLLS_OF_A_PIECE)
        return self._sample()

    def _deploy(self):
        self.clock.run_freely()
        self.deployments += 1
        number = self.deployments
        action = self.bench.assign(
            self.bench.script(f"settings-{number}", f"echo {number} >/etc/installed/settings", str(number)),
            self.bench.module("zw", "radio", str(number), {"zw.bin": f"radio {number} ".encode() * 500}))
        self.bench.wait_for_end(action)
        assert action.status is Status.FINISHED, action.messages()

    def _wait_for_polls(self, count):
        """Stops time between two polls, so that every sample is taken at rest."""
        while self.polls < count:
            self._pass((count - self.polls) * POLLING)
        self._pass(POLLING / 2)
        self.bench.wait_until(lambda: self.bench.server.exchanges()[-1].outcome != "open", "the end of a poll")

    def _pass(self, seconds):
        end = self.clock.elapsed() + seconds
        self.clock.stop_after(seconds)
        self.bench.wait_until(lambda: self.clock.elapsed() >= end - RESOLUTION, "the time of the polls")

    def _sample(self):
        logged, polls = self._log_file().stat().st_size, self.polls
        inside = process_directory(self.daemon)
        status = (inside / "status").read_text()
        # Without the pages of the program's files, which come and go with the machine's other memory.
        sample = Sample(polls, int(re.search(r"^RssAnon:\s+(\d+) kB", status, re.M).group(1)) * 1024,
                        len(list((inside / "fd").iterdir())), len(list((inside / "task").iterdir())),
                        self._zombies(), (logged - self._logged) / (polls - self._polls))
        self._logged, self._polls = logged, polls
        return sample

    def _log_file(self):
        return self.bench.gateway.run_dir / "log/daemon-1.log"

    def _zombies(self):
        """Children of the daemon that have ended and that it has not collected."""
        states = []
        for status in process_directory(self.daemon).parent.glob("[0-9]*/status"):
            text = status.read_text()
            if re.search(rf"^PPid:\s+{self.daemon.pid}$", text, re.M):
                states.append(re.search(r"^State:\s+(\w)", text, re.M).group(1))
        return states.count("Z")


def judge(samples):
    """What grows, by its name: a Trend and whether it is harmless."""
    steady = samples[int(len(samples) * WARM_UP):]
    places = [sample.polls for sample in steady]
    found = {}
    pools = POOLS / (places[-1] - places[0])
    for name, bound in (BOUNDS | {"memory": max(BOUNDS["memory"], pools)}).items():
        trend = trend_of(places, [getattr(sample, name) for sample in steady])
        found[name] = trend, trend.is_flat(bound)
    return found
