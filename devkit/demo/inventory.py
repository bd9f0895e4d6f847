# SPDX-License-Identifier: Apache-2.0
"""The part of the gateway's state that a release can change."""
import hashlib
import itertools
import re
import shlex
from collections.abc import Mapping
from dataclasses import dataclass, fields

TIME = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ")
TIME_PREFIX = "installation_time_"

NAMES = {
    "firmware": "the firmware that runs",
    "image": "the firmware image that was written",
    "radio": "what the Z-Wave radio holds",
    "boot_loader": "the boot loader's partition",
    "powerline": "what the powerline chip holds",
    "packages": "the package",
    "files": "the file /etc/installed/",
    "records": "the stored record",
    "timed": "the parts with a time of their installation",
    "tools": "the order of the tools that were called",
    "left_behind": "what is left behind in /tmp",
}


@dataclass(frozen=True)
class Inventory:
    """What was written, and what the gateway has recorded about it.

    packages     {name: (version, state)}, as the package manager knows them
    files        names and contents of the files in /etc/installed
    records      the daemon's stored options: versions, and whether it waits for a reboot
    timed        the parts whose time of installation the daemon has stored
    tools        names of the tools that were called, in order
    left_behind  names in /tmp that nobody needs
    """

    firmware: str
    image: bytes | None
    radio: bytes | None
    boot_loader: bytes
    powerline: bytes | None
    packages: Mapping[str, tuple[str, str]]
    files: Mapping[str, bytes]
    records: Mapping[str, str]
    timed: tuple[str, ...]
    tools: tuple[str, ...]
    left_behind: tuple[str, ...]

    def differences(self, expected):
        """A sentence for each difference from what is expected."""
        for field in fields(self):
            yield from _differences(NAMES[field.name], getattr(self, field.name),
                                    getattr(expected, field.name))


def take_inventory(gateway, partition):
    """`partition` is the file that stands for the boot loader's partition."""
    stored = _stored_options(gateway.config("zephran"))
    times = {name.removeprefix(TIME_PREFIX): value for name, value in stored.items()
             if name.startswith(TIME_PREFIX)}
    return Inventory(
        firmware=gateway.firmware,
        image=gateway.chip("firmware"),
        radio=gateway.chip("zwave"),
        boot_loader=partition.read_bytes(),
        powerline=gateway.chip("plc"),
        packages=gateway.packages,
        files=gateway.installed_files,
        records={name: value for name, value in stored.items() if not name.startswith(TIME_PREFIX)},
        timed=tuple(sorted(part for part, time in times.items() if TIME.fullmatch(time))),
        tools=tuple(call.split()[0] for call in gateway.calls()),
        left_behind=tuple(gateway.leftovers()))


def _stored_options(text):
    """The daemon's own options: all of its section, and the mark of a reboot."""
    options, section = {}, ""
    for kind, name, value in filter(None, map(shlex.split, text.splitlines())):
        if kind == "config":
            section = value
        elif section == "device" or name == "rebooted":
            options[name] = value
    return options


def _differences(name, found, expected):
    if found == expected:
        return
    if isinstance(expected, Mapping):
        join = "" if name.endswith("/") else " "
        for key in sorted({*found, *expected}):
            yield from _differences(name + join + key, found.get(key), expected.get(key))
        return
    equal = ""
    if isinstance(found, bytes) and isinstance(expected, bytes):
        equal = f"; they differ from byte {_equal_bytes(found, expected)} on"
    yield f"{name}: found {_shown(found)} instead of {_shown(expected)}{equal}"


def _equal_bytes(found, expected):
    """How many bytes both have in common at their beginning."""
    return sum(1 for _ in itertools.takewhile(lambda pair: pair[0] == pair[1], zip(found, expected, strict=False)))


def _shown(value):
    if isinstance(value, bytes):
        return f"{len(value)} bytes with the MD5 sum {hashlib.md5(value).hexdigest()}"
    if isinstance(value, tuple):
        return " ".join(value) or "nothing"
    return "nothing" if value is None else repr(value)
