# SPDX-License-Identifier: Apache-2.0
"""Deployments that a power cut interrupts at a named moment, on virtual time."""
from gateway import Powerline, powerline_image
from hawkbit_server import Part, Stall, Status
from history import GatewayHistory, demand
from power_cut_rows import (
    AFTER,
    BEFORE,
    CHUNK_LOST,
    CHUNK_TAKEN,
    DOWNLOAD,
    END_LOST,
    END_TAKEN,
    MIDWAY,
    START_LOST,
    START_TAKEN,
)
from powerline_network import NEW
from release import PARTITION, Release
from report_moments import recorded, told

# The number of the report, and whether the server takes it before the cut.
REPORTS = {START_LOST: (1, False), START_TAKEN: (1, True), CHUNK_LOST: (2, False), CHUNK_TAKEN: (2, True),
           END_LOST: (3, False), END_TAKEN: (3, True)}
IN_TOOL = {BEFORE: "before", MIDWAY: "midway", AFTER: "after"}
TOOLS = {"os": "sysupgrade", "zw": "zwprogrammer", "bl": "dd", "plc": "plc", "plc_ghn": "l2fwserver", "opkg": "opkg"}
# The first run stays until it is cut off: reading the pipe takes no time that a clock could shorten.
STAYING = """echo run >>/etc/installed/runs
[ ! -e /etc/installed/wanted ] || { rm /etc/installed/wanted; mkfifo /tmp/pipe; read word </tmp/pipe; }
echo fine
"""
ADAPTERS = [f"02:00:00:00:00:{number:02x}" for number in range(0x10, 0x13)]


class CutHistory(GatewayHistory):
    """`arguments` are those of the daemon."""

    arguments = ()

    def run_into_download(self, number=1):
        """Starts the daemon and cuts the power in its number-th download."""
        self._cut_when_held("artifact", Stall(1), number)

    def run_into_report(self, number, is_taken):
        """The same at a report, before the server has taken it or before its answer arrives."""
        self._cut_when_held("feedback", Stall(0, Part.HEAD) if is_taken else Stall(), number)

    def run_into_tool(self, tool, when, number=1):
        """The same at a moment of a tool's number-th call."""
        self.bench.gateway.tell(tool, when=when, hang=True, first=number)
        self._cut_when(lambda: self.bench.gateway.is_held(tool), f"{tool} being held")

    def _cut_when_held(self, kind, stall, number):
        self.bench.server.order(kind, stall, first=number)
        self._cut_when(stall.reached.is_set, f"{kind} {number}")
        stall.drop()

    def _cut_when(self, condition, what):
        supervisor = self.bench.supervise(*self.arguments, level="INFO")
        self.bench.wait_until(condition, what)
        supervisor.power_cut()


class OnePart(CutHistory):
    """A deployment of one chunk of a part type; "plc_ghn" is for the gateway's own modem."""

    arguments = ("--bootloader-mtd", PARTITION)

    def __init__(self, directory, pki, options, part):
        super().__init__(directory, pki, options)
        self.part = part
        self._line = Powerline(self.bench.gateway) if part == "plc_ghn" else None
        self.action = self.bench.assign(*self._modules())

    def run_into(self, moment):
        """Starts the daemon and cuts the power at a moment of power_cut_rows."""
        if moment in REPORTS:
            self.run_into_report(*REPORTS[moment])
        elif moment == DOWNLOAD:
            self.run_into_download()
        elif self.part == "script":
            installed = self.bench.gateway.run_dir / "etc/installed"
            (installed / "wanted").touch()
            self._cut_when(lambda: self._installations() == 1 and not (installed / "wanted").exists(), "the script")
        else:
            self.run_into_tool(TOOLS[self.part], IN_TOOL[moment], 2 if self.part == "plc" and moment == AFTER else 1)

    def judge(self, expected):
        """Throws Violation unless it ends as expected, and the next deployment succeeds."""
        self.bench.wait_for_end(self.action)
        found = self._installations(), tuple(map(told, recorded(self.action))), self.action.status
        wanted = expected.installations, expected.story, expected.status
        demand(found == wanted, f"{found} instead of {wanted}")
        demand(not self.action.spoilt, "read again after its end")
        self.demand_the_next()

    def _modules(self):
        if self.part == "script":
            return [self.bench.script("settings", STAYING)]
        if self.part == "plc_ghn":
            return [self.bench.module("plc_ghn", "modem", NEW, {"plc.bin": powerline_image(NEW)})]
        return Release(self.bench, (self.part,)).modules

    def _installations(self):
        if self.part == "script":
            return self.bench.gateway.installed_files.get("runs", b"").count(b"run")
        calls = self.bench.gateway.calls(TOOLS[self.part])
        # The service is stopped for each installation, and started again.
        return len([call for call in calls if self.part != "plc" or call == "plc stop"])


class Adapters(CutHistory):
    """A deployment for each of several adapters."""

    arguments = ("--ghn-agents",)

    def __init__(self, directory, pki, options):
        super().__init__(directory, pki, options)
        line = Powerline(self.bench.gateway)
        self.modems = [line.add(mac) for mac in ADAPTERS]
        image = self.bench.module("plc_ghn", "adapter", NEW, {"plc.bin": powerline_image(NEW)})
        prefix = "gw-1-" if options != "none" else ""
        self.actions = [self.bench.server.assign(prefix + mac, [image]) for mac in ADAPTERS]

    def judge(self, images):
        """Throws Violation unless each has its firmware, after so many images in all."""
        for action in self.actions:
            self.bench.wait_for_end(action)
            closing = [entry for entry in action.entries if entry.type in (Status.FINISHED, Status.ERROR)]
            demand(action.status is Status.FINISHED and len(closing) == 1, f"{[entry.type for entry in closing]}")
            demand(not action.spoilt, "read again after its end")
        demand(all(modem.firmware == NEW for modem in self.modems), "reported as finished without firmware")
        sent = len(self.bench.gateway.calls("l2fwserver"))
        demand(sent == images, f"{sent} images instead of {images}")
        self.demand_the_next()
