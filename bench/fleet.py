# SPDX-License-Identifier: Apache-2.0
"""Measures a fleet of daemons at a real update server with a polling time of five minutes.

Each daemon has a simulated gateway with its own message bus and runs as it would on a gateway: one step a second,
and a poll when it is due. The first polling times are chosen so that later polls are spread evenly over five
minutes, as in a real fleet. Only a window of that time is measured.
"""
import os
import pathlib
import re
import resource
import shutil
import statistics
import subprocess
import sys
import time
from dataclasses import dataclass

from gateway_processes import cpu_clock, daemon_of

PROJECT = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = map(str, (PROJECT / "tests/acceptance", PROJECT / "tests/daemon"))

POLL_SECONDS = 300
POLL = "00:05:00"
# Daemons start one after another. No poll that counts may be due before all of them run.
START_SECONDS = 5
TIMEOUT = 180
RECHECK = 0.02
POLL_LINE = re.compile(r'"GET (/DEFAULT/controller/v1/[^/ ]+) HTTP/1\.1" 200 ')
ANY_LINE = re.compile(r'"[A-Z]+ /DEFAULT/controller/v1/')


class NotMeasured(Exception):
    """A prerequisite of the measurement is missing; the text says which."""


class Wrong(Exception):
    """The fleet did something in the window that an idle fleet does not do."""


@dataclass
class Result:
    """CPU times in seconds: of each daemon in the window, and of curl for all of the window's requests.

    polled, idle  times of the daemons that polled in the window, and of those that did not
    """

    window: float
    requests: int
    daemons: list
    polled: list
    idle: list
    curl: float


def measure(build, directory, count, window):
    """Returns a Result. Raises NotMeasured without the server's jar, Java or nginx."""
    os.environ["ZEPHRAN_BUILD_DIR"] = str(build)
    for program in ("java", "nginx"):
        if shutil.which(program, path=os.environ["PATH"] + ":/usr/sbin:/sbin") is None:
            raise NotMeasured(f"{program} is not installed")
    # Imported late: they read ZEPHRAN_BUILD_DIR on import.
    from hawkbit_process import HawkbitError
    from hawkbit_site import HawkbitSite
    from nginx import NginxError
    directory.mkdir()
    try:
        site = HawkbitSite(directory / "site", POLL)
    except (HawkbitError, NginxError) as error:
        raise NotMeasured(str(error)) from error
    try:
        return _Fleet(site, directory, count).measure(window)
    finally:
        site.close()


class _Fleet:
    def __init__(self, site, directory, count):
        self.site = site
        self.directory = directory
        self.count = count
        self.log = site.proxy.directory / "access.log"
        self.gateways = []

    def measure(self, window):
        try:
            self._start_all(time.monotonic() + self.count * START_SECONDS)
            return self._watch(window)
        finally:
            for each in self.gateways:
                each.close_gateway()

    def _start_all(self, begin):
        """Starts the daemons so that their second polls are due at equal intervals after `begin`."""
        management = self.site.process.management
        for number in range(self.count):
            due = begin + number * POLL_SECONDS / self.count
            pause = max(5, round(due - time.monotonic()))
            management.put("system/configs/pollingTime", {"value": f"00:{pause // 60:02}:{pause % 60:02}"})
            self._start(f"fleet-{number:03}")
        management.put("system/configs/pollingTime", {"value": POLL})
        self.begin = begin

    def _start(self, device):
        gateway = _make_bench(self.directory / device, self.site.whereabouts.access())
        self.gateways.append(gateway)
        gateway.start(device)
        end = time.monotonic() + TIMEOUT
        # The first poll leads to the attributes; later polls are timed from the second one.
        while self.log.read_text().count(f'"GET /DEFAULT/controller/v1/{device} ') < 2:
            gateway.check_alive("its registration")
            if time.monotonic() > end:
                raise Wrong(f"{device} did not register in {TIMEOUT} s")
            time.sleep(RECHECK)

    def _watch(self, window):
        time.sleep(max(0, self.begin - time.monotonic()))
        clocks = [cpu_clock(daemon_of(each)) for each in self.gateways]
        logged = len(self.log.read_text())
        before, began = [time.clock_gettime(each) for each in clocks], time.monotonic()
        time.sleep(window)
        after, ended = [time.clock_gettime(each) for each in clocks], time.monotonic()
        lines = self.log.read_text()[logged:].splitlines()
        polls = [match[1] for line in lines if (match := POLL_LINE.search(line))]
        if not polls or len(polls) != sum(map(bool, map(ANY_LINE.search, lines))):
            raise Wrong(f"the fleet did not only poll: {lines}")
        spent = [late - early for early, late in zip(before, after, strict=True)]
        names = {path.rpartition("/")[2] for path in polls}
        by_name = {f"fleet-{number:03}": seconds for number, seconds in enumerate(spent)}
        return Result(ended - began, len(polls), spent, [by_name[name] for name in names],
                      [seconds for name, seconds in by_name.items() if name not in names], self._curl(polls))

    def _curl(self, paths):
        """CPU seconds that curl takes for the same requests, with one process for each."""
        access = self.site.whereabouts.access()
        before = _children()
        for path in paths:
            subprocess.run(["curl", "-sS", "--fail", "-o", "/dev/null", "--cacert", access.ca, "--cert",
                            access.certificate, "--key", access.key, f"https://{access.address}{path}"],
                           check=True)
        return _children() - before


def _make_bench(directory, access):
    from gateway_bench import GatewayBench

    class FleetGateway(GatewayBench):
        def start(self, device):
            return self.start_for(device, access.address, access.ca,
                                  "--client-certificate", access.certificate,
                                  "--client-certificate-key", access.key, level="INFO")

    directory.mkdir()
    return FleetGateway(directory, visible=[access.ca.parent], tmp_size="16m")


def _children():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def rows(result, count):
    """The lines to print."""
    each = sum(result.daemons) / count
    yield (f"{f'fleet of {count} at a 5-minute poll':<34} {result.requests / result.window:8.2f} requests/s "
           f"in a window of {result.window:.0f} s ({result.requests} polls)")
    yield (f"{'CPU of one daemon in that time':<34} {each * 1000:8.2f} ms  curl     "
           f"{result.curl / count * 1000:8.2f} ms  ratio {sum(result.daemons) / result.curl:5.2f}")
    if result.idle:
        idle = statistics.median(result.idle)
        poll = statistics.median(result.polled) - idle
        yield (f"{'  of it a poll':<34} {poll * 1000:8.2f} ms  curl     "
               f"{result.curl / result.requests * 1000:8.2f} ms  "
               f"ratio {poll * result.requests / result.curl:5.2f}")
        yield (f"{'  of it a second of rest':<34} {idle / result.window * 1e6:8.0f} us  "
               f"({idle / result.window * 100:.4f} % of a processor)")
