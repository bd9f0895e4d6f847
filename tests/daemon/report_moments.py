# SPDX-License-Identifier: Apache-2.0
"""What becomes of a deployment of one chunk that is interrupted at one of its reports.

The gateway's memory is the history at the server and the version records, so an interruption is told apart by the
last report that took effect and by what the chunk's part type records. docs/recovery.md has the same in words.
"""
import dataclasses

from hawkbit_server import Status
from release import CHUNKS, NEW, OLD, Release

# The reports of such a deployment, in order.
START, CHUNK, END = "start", "chunk", "end"
NUMBERS = {START: 1, CHUNK: 2, END: 3}

STARTED, DONE, ALREADY, ENDED = "started", "done", "already installed", "ended"
WRONG_FIRMWARE = "failed: Expected version does not match the version that was found"
TOOLS = {"os": "sysupgrade", "zw": "zwprogrammer", "opkg": "opkg"}


@dataclasses.dataclass(frozen=True)
class Outcome:
    """How it has to end.

    installations  how often the script or the tool has run, over all processes
    story          the reports that the server has on record, in order
    printed        how many of them carry the program's output
    """

    installations: int
    story: tuple[str, ...]
    printed: int = 0
    status: Status = Status.FINISHED


UNDISTURBED = Outcome(1, (STARTED, DONE, ENDED))
PRINTED = dataclasses.replace(UNDISTURBED, printed=1)
RECORDED = Outcome(1, (STARTED, DONE, ALREADY, ENDED))

# (part type, report, whether it took effect). "zw" stands for all part types with a version record and no reboot.
OUTCOMES = {
    ("script", START, False): PRINTED,
    ("os", START, False): UNDISTURBED,
    ("zw", START, False): UNDISTURBED,
    ("opkg", START, False): PRINTED,

    # Known limit: a script that was reported as started counts as done. It is never run.
    ("script", START, True): Outcome(0, (STARTED, DONE, ENDED)),
    # Known limit: so does firmware, but its version shows that it is not there.
    ("os", START, True): Outcome(0, (STARTED, WRONG_FIRMWARE), status=Status.ERROR),
    ("zw", START, True): Outcome(1, (STARTED, STARTED, DONE, ENDED)),
    ("opkg", START, True): Outcome(1, (STARTED, STARTED, DONE, ENDED), printed=1),

    # Known limit: the script's output is lost.
    ("script", CHUNK, False): UNDISTURBED,
    ("os", CHUNK, False): UNDISTURBED,
    ("zw", CHUNK, False): Outcome(1, (STARTED, ALREADY, ENDED)),
    ("opkg", CHUNK, False): Outcome(2, (STARTED, STARTED, DONE, ENDED), printed=1),

    # Known limit: scripts run again, and packages are installed again.
    ("script", CHUNK, True): Outcome(2, (STARTED, DONE, STARTED, DONE, ENDED), printed=2),
    ("os", CHUNK, True): RECORDED,
    ("zw", CHUNK, True): RECORDED,
    ("opkg", CHUNK, True): Outcome(2, (STARTED, DONE, STARTED, DONE, ENDED), printed=2),

    ("script", END, True): PRINTED,
    ("os", END, True): UNDISTURBED,
    ("zw", END, True): UNDISTURBED,
    ("opkg", END, True): PRINTED,
}
# Before the last report took effect, the newest one on record is that of the chunk.
OUTCOMES.update({(part, END, False): OUTCOMES[part, CHUNK, True] for part in ("script", "os", "zw", "opkg")})


class OneChunk:
    """A deployment of one chunk whose installations are counted, also over power cuts."""

    def __init__(self, bench, part):
        self.bench = bench
        self.part = part
        self._release = Release(bench, (part,) if part != "script" else ())
        modules = self._release.modules or [
            bench.script("settings", "echo run >>/etc/installed/runs\necho fine", version="3")]
        self.action = bench.assign(*modules)

    def supervise(self):
        return self._release.supervise()

    @property
    def installations(self):
        if self.part == "script":
            return self.bench.gateway.installed_files.get("runs", b"").count(b"run")
        return len(self.bench.gateway.calls(TOOLS[self.part]))

    def outcome(self):
        """What has become of it."""
        reports = recorded(self.action)
        return Outcome(self.installations, tuple(map(told, reports)),
                       sum(told(report) == DONE and len(report) == 3 for report in reports), self.action.status)

    def assert_in_order(self):
        """Asserts that the gateway is as a finished, or never begun, installation leaves it."""
        gateway = self.bench.gateway
        assert gateway.leftovers() == []
        if self.part == "os":
            assert gateway.firmware == (NEW if self.installations else OLD)
            assert self.bench.option("rebooted") == "0"
        elif self.part != "script":
            self._release.assert_installed()
        chunk = CHUNKS[self.part]
        assert {report[1] for report in recorded(self.action) if told(report) in (STARTED, DONE, ALREADY)} <= {chunk}


def recorded(action):
    """The details of the device's reports on an action as the server has them, in order."""
    return [list(entry.messages) for entry in action.entries
            if not str(entry.messages[0]).startswith(("Update Server: ", "Assignment initiated", "Target retrieved"))]


def told(report):
    """A report in one word."""
    if report[0] == "Chunk deployed" and report[2:] and report[2].startswith("Already installed\n"):
        return ALREADY
    words = {"Installation started": STARTED, "Chunk deployed": DONE, "Deployment successful": ENDED}
    return words.get(report[0], f"failed: {report[0]}")
