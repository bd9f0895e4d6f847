# SPDX-License-Identifier: Apache-2.0
"""A gateway, a server and a release of all part types, on virtual time, and what the server has on record."""
import contextlib
import threading
import time

from bench import Bench
from gateway import BusError, Supervisor
from gateway_bench import CONFIG
from hawkbit_server import Stall, Status
from refusal import Refusal
from release import FLASH_SIZE, LOADER, NEW, PARTITION, POWERLINE, RADIO, Release
from shipped import NOTES, PACKAGED, without
from troubles import Exchange, Refused

# With "dormant" the shipped ones, on a gateway that polls by itself no more after the reboot.
OPTIONS = ("none", "shipped", "dormant")
# Seconds of the gateway after which a server that says nothing is gone. A daemon without options has no limit of its
# own; with the shipped options it has to give up by itself.
SILENCE = 30
# How often as many exchanges and bytes as undisturbed a history may take, and how many exchanges for waiting.
FACTOR = 3
ROOM = 400


class Violation(Exception):
    """What must not happen."""


def configuration(options):
    return CONFIG if options == "none" else without(PACKAGED.read_text(encoding="utf-8"), NOTES)


class GatewayHistory:
    """A gateway and a server on virtual time, and what is always demanded of them at the end."""

    def __init__(self, directory, pki, options):
        self.bench = self.make_bench(directory, pki, options)
        self.bench.follow_virtual_time(time.time())
        self.options = options
        self.closed = threading.Event()

    def make_bench(self, directory, pki, options):
        return Bench(directory, pki, config=configuration(options), poll="00:05:00")

    def close(self):
        self.closed.set()
        self.bench.close()

    def demand_the_next(self):
        """That a deployment succeeds after this one, and no file is left. Throws Violation."""
        following = self.bench.assign(self.bench.script("following", "echo next >>/etc/installed/following"))
        self._wake()
        self.bench.wait_for_end(following)
        demand(following.status is Status.FINISHED, "the next deployment has failed")
        try:
            self.bench.wait_until(lambda: not self._left_behind(), "the deletion of the files")
        except TimeoutError as error:
            raise Violation(f"left behind: {self._left_behind()}") from error

    def _left_behind(self):
        """Files in the temporary directory; the download directory itself may stay there."""
        folder = self.bench.gateway.tmp / "zephran"
        return [*self.bench.gateway.leftovers(ignore=("state", ".uci", folder.name)),
                *(str(file.relative_to(folder)) for file in folder.rglob("*") if not file.is_dir())]

    def _wake(self):
        with contextlib.suppress(BusError):
            self.bench.gateway.bus.call("force_poll")


class History(GatewayHistory):
    """One release, and the deployment after it."""

    def __init__(self, directory, pki, options, **release):
        super().__init__(directory, pki, options)
        self.release = Release(self.bench, **release)
        self.action = self.release.assign()

    def play(self, exchange=None, trouble=None):
        """Plays it to its end, with a trouble at one exchange; returns the order of that fault."""
        order = None if trouble is None else self._bring_about(trouble, exchange)
        after_reboot = ("--dormant", "true") if self.options == "dormant" else ()
        self.bench.supervisor = Supervisor(self.bench.gateway, self.start_daemon, after_reboot).start()
        self.bench.wait_for_end(self.action)
        return order

    def _bring_about(self, trouble, exchange):
        fault = trouble.make(exchange)
        if isinstance(fault, Refused):
            return Refusal(self.bench, exchange.number, self.closed)
        if isinstance(fault, Stall) and self.options == "none":
            threading.Thread(target=self._end_silence, args=[fault], daemon=True).start()
        return self.bench.server.order(trouble.place, fault, first=exchange.number)

    def start_daemon(self, *more):
        """Starts it at first, and whenever it has ended or the gateway has been rebooted."""
        return self.bench.start("--bootloader-mtd", PARTITION, *more, level="INFO")

    def exchanges(self):
        return [Exchange(number, each.kind, len(each.response_body), self.action.id)
                for number, each in enumerate(self.bench.server.exchanges(), 1)]

    def _end_silence(self, fault):
        fault.reached.wait()
        began = self.bench.clock.elapsed()
        while not self.closed.is_set() and self.bench.clock.elapsed() < began + SILENCE:
            time.sleep(0.01)
        if fault.after is None:
            fault.drop()
        else:
            fault.release()

    # ---- what is demanded

    def judge(self, undisturbed):
        """Returns how it has ended in a word. Throws Violation."""
        closing = [entry for entry in self.action.entries if entry.type in (Status.FINISHED, Status.ERROR)]
        demand(len(closing) == 1, f"closed {len(closing)} times")
        demand(not self.action.spoilt, "read again after its end")
        missing = self.missing_parts()
        if self.action.status is Status.FINISHED:
            demand(not missing, f"reported as finished without {', '.join(missing)}")
        else:
            demand(missing, f"reported as failed, but everything is there: {closing[0].messages}")
        self._demand_bounds(undisturbed)
        self.demand_the_next()
        return self.action.status.value

    def missing_parts(self):
        gateway = self.bench.gateway
        there = {"os": gateway.firmware == NEW, "zw": gateway.chip("zwave") == RADIO,
                 "plc": gateway.chip("plc") == POWERLINE, "opkg": "tool" in gateway.packages,
                 "script": gateway.installed_files.get("settings") == b"set\n",
                 "bl": self.release.flash.read_bytes() == LOADER.ljust(FLASH_SIZE, b"\377")}
        return [part for part, is_there in there.items() if not is_there]

    def _demand_bounds(self, undisturbed):
        seen = self.bench.server.exchanges()
        sent, usual = sum(each.sent for each in seen), sum(each.size for each in undisturbed)
        demand(sent <= FACTOR * usual + ROOM * 1000, f"{sent} bytes instead of {usual}")
        demand(len(seen) <= FACTOR * len(undisturbed) + ROOM, f"{len(seen)} exchanges instead of {len(undisturbed)}")


def demand(condition, otherwise):
    if not condition:
        raise Violation(otherwise)
