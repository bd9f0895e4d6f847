# SPDX-License-Identifier: Apache-2.0
"""What operator, server, link, power and user can do to a gateway, one step after the other.

Time stands still between two steps, so the same steps lead to the same history. Each step is a method without an
underscore; its arguments are numbers, texts and lists, so a history can be kept as a file.
"""
import contextlib
import time

import adapters as behind
from adapters import Adapters
from bench import DEVICE, Bench
from gateway import BusError, Supervisor
from gateway_bench import VIRTUAL_TIME
from hawkbit_server import Code, Cut, Drop, Ending, Text
from history import configuration
from limited_clock import LimitedClock
from modules import Modules
from part import HANGS
from silences import Silences

DAY = 24 * 3600
# Half an hour before the update window opens.
BEGINNING = 1.5 * 3600
WEEK = "Monday Tuesday Wednesday Thursday Friday Saturday Sunday"
MOST_STARTS = 200
# What the wall clock is set to, in seconds: so much further or back, or since 1970.
SHIFTS = (3600, -3600, 24 * 3600, -24 * 3600, 400 * 24 * 3600, -400 * 24 * 3600)
MOMENTS = (60, 2**31 - 60)
# When the gateway's agent polls only if it is told to: for the package "after reboot" is that of a firmware.
DORMANT = ("never", "after reboot", "always")
ARGUMENT = ("--dormant", "true")

FAULTS = {**{str(code): Code(code) for code in (400, 403, 404, 409, 410, 429, 500, 503)},
          "closed": Drop(), "reset": Drop(ending=Ending.RESET), "answer lost": Drop(processed=True),
          "cut": Cut(1), "half a document": Text('{"id": ')}


class Stuck(Exception):
    """Time does not go on: the daemon waits for something that does not come."""


class PlayBench(Bench):
    """Its server has a clock of its own, which nobody sets."""

    def now(self):
        return self.clock.right() if self.clock else super().now()


class Play:
    """One gateway, one server, and what is done to them."""

    def __init__(self, directory, pki):
        self.directory, self.pki = directory, pki
        self.actions = []
        self.interruptions = 0
        self.limits = set()
        self.options = None
        self.adapters = None
        self._outage = None

    def begin(self, options, automatic, window, adapters=False, dormant="never"):
        self.options = options
        bench = self.bench = PlayBench(self.directory, self.pki, config=configuration(options), poll="00:05:00")
        bench.clock = self.clock = LimitedClock(bench.gateway.run_dir / "clock", VIRTUAL_TIME,
                                                (time.time() // DAY + 1) * DAY + BEGINNING)
        self.clock.allow(0)
        self._silences = Silences(bench.server, self.clock)
        if adapters:
            self.adapters = Adapters(bench, prefix="" if options == "none" else f"{DEVICE}-")
        self.modules = Modules(bench, self.adapters)
        bench.configure("service.automatic_update", str(int(automatic)))
        if window:
            for name, value in {"enabled": "1", "daysofweek": WEEK, "starttime": "02:00", "stoptime": "05:00"}.items():
                bench.configure(f"schedule.{name}", value)
        arguments = ["--ghn-agents"] * adapters + [*ARGUMENT] * (dormant == "always")
        bench.supervisor = Supervisor(
            bench.gateway, lambda *more: bench.start(*arguments, *more, level="INFO"),
            after_reboot=ARGUMENT if dormant == "after reboot" else (), most_starts=MOST_STARTS).start()

    def close(self):
        if self.options is not None:
            self._silences.end()
            self.bench.close()

    # ---- the operator

    def assign(self, kind, parts):
        modules = [self.modules.make(part) for part in parts]
        self.actions.append(self.bench.assign(*modules, type=kind))

    def assign_adapter(self, number, kind):
        self.actions.append(self.adapters.assign(number, self.modules.make(behind.PART), kind))

    def force(self):
        if self.is_open():
            self.bench.server.force(self.actions[-1])

    def cancel(self):
        if self.is_open() and not self.actions[-1].is_cancelling():
            self.bench.server.cancel(self.actions[-1])

    def withdraw(self):
        """Cancels and closes it without waiting for the gateway."""
        self.cancel()
        if self.is_open():
            self.bench.server.force_quit(self.actions[-1])

    def replace_artifact(self):
        if self.is_open():
            self.modules.replace_artifact(self.actions[-1])

    # ---- the server and the link

    def trouble(self, kind, fault, first, times):
        self.bench.server.order(kind, FAULTS[fault], first=first, times=times)

    def restart_server(self):
        self.bench.server.stop()
        self.bench.server.start()

    def silence(self, kind, seconds):
        self._silences.order(kind, seconds)

    def outage(self):
        if self._outage is None:
            self._outage = self.bench.server.order("accept", Drop(), times=None)

    def link_back(self):
        if self._outage is not None:
            self._outage.withdraw()
            self._outage = None

    # ---- the adapters

    def adapter(self, number, event):
        self.adapters.meet(number, event, self.actions)

    # ---- power and the daemon's process

    def power_cut(self):
        self.interruptions += 1
        self.bench.supervisor.power_cut()

    def kill(self):
        self.interruptions += 1
        self._end_daemon(lambda daemon: daemon.kill())

    def stop(self):
        self.interruptions += 1
        daemon = self.bench.supervisor.daemon
        daemon.signal(15)
        self.let_pass(15)

    # ---- the user

    def accept(self):
        self._call("accept_deployment")

    def postpone(self, hours):
        self._call("postpone_deployment", {"hours": hours})

    def force_poll(self):
        return self._call("force_poll")

    # ---- time

    def shift_clock(self, seconds):
        self.clock.set_wall(self.clock.wall() + seconds)

    def set_clock(self, wall):
        """To so many seconds since 1970, or to what is right."""
        self.clock.set_wall(self.clock.right() if wall is None else wall)

    def let_pass(self, seconds):
        self._pass_until(self.clock.allow(seconds))

    def heal(self):
        """From now on all is well."""
        self.bench.server.faults.clear()
        self._silences.end()
        self.link_back()
        self.set_clock(None)
        if self.adapters:
            self.adapters.plug_in_all()

    # ---- what a judge asks

    def is_open(self):
        return bool(self.actions) and self.actions[-1].active

    def has_excuse(self, action):
        """Whether it may have failed although everything is there."""
        return self.modules.was_replaced(action) or bool(self.adapters and self.adapters.was_disturbed(action))

    def _call(self, method, arguments=None):
        """Whether somebody was there to hear it."""
        with contextlib.suppress(BusError):
            self.bench.gateway.bus.call(method, arguments)
            return True
        return False

    def _end_daemon(self, end):
        supervisor = self.bench.supervisor
        known = len(supervisor.daemons)
        end(supervisor.daemon)
        self._wait_real(lambda: len(supervisor.daemons) > known, "a new daemon")

    def _pass_until(self, end):
        def has_passed():
            self._silences.watch()
            return self.clock.elapsed() >= end

        self._wait_real(has_passed, "the passing of time")
        self.clock.hurry(False)
        self._settle()

    def _wait_real(self, condition, what):
        latest = time.monotonic() + HANGS
        while not condition():
            self.bench.supervisor.check()
            if time.monotonic() > latest:
                raise Stuck(f"{what} did not come about")
            time.sleep(0.002)

    def _settle(self):
        """Lets what is under way come to its end, so that a step never meets the middle of an exchange."""
        latest = time.monotonic() + 0.3
        while time.monotonic() < latest and not self._silences.has_begun() and any(
                each.outcome == "open" for each in self.bench.server.exchanges()[-2:]):
            time.sleep(0.001)
