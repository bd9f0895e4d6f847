# SPDX-License-Identifier: Apache-2.0
"""What the demonstration rolls out, and the expected result."""
import random
from collections.abc import Mapping
from dataclasses import dataclass, replace

from gateway import firmware_image, package

from .inventory import Inventory

# Part types in the order in which their installers run.
TURNS = ("os", "script", "zw", "bl", "plc", "opkg")

PARTITION = "mtd1"
ERASE_SIZE = 16 * 1024
PARTITION_SIZE = 8 * ERASE_SIZE
OLD_FIRMWARE, NEW_FIRMWARE = "2.0_20250101", "2.1_20260101"

# The same bytes in every run; the firmware is large enough for its download to be watched.
_noise = random.Random(1).randbytes
OLD_LOADER = _noise(PARTITION_SIZE)
LOADER = _noise(90_000)
RADIO = _noise(64_000)
POWERLINE = _noise(72_000)
IMAGE = firmware_image(NEW_FIRMWARE, 2_000_000)

GREETING = b"""#!/bin/sh -e
echo "This gateway was updated." >/etc/installed/greeting
echo "wrote $(wc -c </etc/installed/greeting) bytes to /etc/installed/greeting"
"""

FAULTY = b"""#!/bin/sh
echo "looking for /etc/installed/licence"
[ -e /etc/installed/licence ] && exit 0
echo "there is no licence on this gateway"
exit 3
"""


@dataclass(frozen=True)
class Chunk:
    """One software module."""

    type: str
    name: str
    version: str
    files: Mapping[str, bytes]

    @property
    def text(self):
        """The chunk as the gateway names it in its reports."""
        return f"{self.type}:{self.name}:{self.version}"


@dataclass(frozen=True)
class Rollout:
    """One distribution set, and the expected end of its installation.

    chunks           in the order of the set
    deployed         how many of them get installed, in the order of installation
    status           of the action on the server
    end              first detail of the last report
    closing_details  texts that this report must contain
    left             what is on the gateway afterwards
    """

    chunks: tuple[Chunk, ...]
    deployed: int
    status: str
    end: str
    closing_details: tuple[str, ...]
    left: Inventory

    @property
    def succeeds(self):
        return self.status == "finished"

    @property
    def in_turn(self):
        return tuple(sorted(self.chunks, key=lambda chunk: TURNS.index(chunk.type)))

    @property
    def touched(self):
        """The chunks whose installation begins."""
        return self.in_turn[:self.deployed + (0 if self.succeeds else 1)]

    @property
    def reports(self):
        """The expected reports in order: (first detail, chunk, progress)."""
        count = len(self.chunks)
        told = []
        for number, chunk in enumerate(self.touched):
            told.append(("Installation started", chunk.text, f"{number}/{count}"))
            if number < self.deployed:
                told.append(("Chunk deployed", chunk.text, f"{number + 1}/{count}"))
        return [*told, (self.end, "", f"{self.deployed}/{count}")]


def a_package(name, version):
    files = {f"{name}.txt": f"{name} {version}\n".encode()}
    return Chunk("opkg", name, version, {f"{name}_{version}.ipk": package(name, version, files)})


BEHIND_THE_SCRIPT = (
    a_package("site-tools", "1.4"), a_package("site-report", "2.0"),
    Chunk("plc", "powerline", "5.2", {"powerline.nvm": POWERLINE}),
    Chunk("bl", "boot-loader", "7.0", {"loader.bin": LOADER}),
    Chunk("zw", "radio", "6.8", {"radio.bin": RADIO}))
FIRMWARE = Chunk("os", "firmware", NEW_FIRMWARE, {"firmware.img": IMAGE})

BEFORE = Inventory(
    firmware=OLD_FIRMWARE, image=None, radio=None, boot_loader=OLD_LOADER, powerline=None,
    packages={}, files={}, records={}, timed=(), tools=(), left_behind=())

WITH_FIRMWARE = replace(
    BEFORE, firmware=NEW_FIRMWARE, image=IMAGE,
    records={"version_os": NEW_FIRMWARE, "previous_version_os": OLD_FIRMWARE, "rebooted": "0"},
    timed=("os",), tools=("prepare_download.sh", "opensync", "sysupgrade"))

GOOD = Rollout(
    chunks=(*BEHIND_THE_SCRIPT, Chunk("script", "greeting", "1.0", {"greeting.sh": GREETING}), FIRMWARE),
    deployed=7, status="finished", end="Deployment successful", closing_details=(),
    left=replace(
        WITH_FIRMWARE, radio=RADIO, boot_loader=LOADER.ljust(PARTITION_SIZE, b"\377"), powerline=POWERLINE,
        packages={"site-tools": ("1.4", "installed"), "site-report": ("2.0", "installed")},
        files={"greeting": b"This gateway was updated.\n", "site-tools.txt": b"site-tools 1.4\n",
               "site-report.txt": b"site-report 2.0\n"},
        records={**WITH_FIRMWARE.records, "version_zw": "6.8", "version_bl": "7.0", "version_plc": "5.2"},
        timed=("bl", "os", "plc", "zw"),
        tools=(*WITH_FIRMWARE.tools, "zwprogrammer", "flash_erase", "dd", "plc", "plc", "opkg", "opkg")))

FAILING = Rollout(
    chunks=(*BEHIND_THE_SCRIPT, Chunk("script", "licence-check", "1.0", {"check.sh": FAULTY}), FIRMWARE),
    deployed=1, status="error", end="Script returned an error",
    closing_details=("there is no licence on this gateway", "script:licence-check:1.0"),
    left=WITH_FIRMWARE)
