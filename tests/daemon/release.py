# SPDX-License-Identifier: Apache-2.0
"""A release: one software module for each part type, for a gateway with all of these parts."""
import contextlib

from gateway import BusError, firmware_image, package
from hawkbit_server import Status

OLD, NEW = "2.0_20250101", "2.1_20260101"
ERASE_SIZE = 4096
FLASH_SIZE = 16 * ERASE_SIZE
LOADER = bytes(range(256)) * 40
RADIO = b"\0\1radio" * 500
POWERLINE = b"\0\2powerline" * 500
PARTITION = "mtd1"
# Not in the order of installation.
PARTS = ("opkg", "plc", "bl", "zw", "script", "os")
CHUNKS = {"os": f"os:firmware:{NEW}", "script": "script:settings:3", "zw": "zw:radio:6",
          "bl": "bl:loader:7", "plc": "plc:powerline:5", "opkg": "opkg:tool:1.4"}
VERSIONS = {"os": NEW, "script": None, "zw": "6", "bl": "7", "plc": "5", "opkg": None}


class Release:
    """Must be made before the gateway's first start.

    parts     the part types that it has a module for
    packages  names of the packages for part type "opkg", one module each
    modules   its software modules
    """

    def __init__(self, bench, parts=PARTS, packages=("tool",), image_size=4096):
        self.bench = bench
        self.parts = parts
        self.packages = packages if "opkg" in parts else ()
        self.image = firmware_image(NEW, image_size)
        self.flash = bench.gateway.flash(PARTITION, b"\0" * FLASH_SIZE, ERASE_SIZE)
        bench.gateway.install_firmware(OLD)
        settings = b"#!/bin/sh\necho set >/etc/installed/settings\n"
        contents = {
            "os": ("firmware", NEW, "fw.bin", self.image),
            "script": ("settings", "3", "settings.sh", settings),
            "zw": ("radio", "6", "zw.bin", RADIO),
            "bl": ("loader", "7", "loader.bin", LOADER),
            "plc": ("powerline", "5", "plc.nvm", POWERLINE),
        }
        made = [(part, *contents[part]) for part in parts if part in contents]
        made += [("opkg", name, "1.4", f"{name}.ipk",
                  package(name, "1.4", {f"{name}.txt": f"the {name}\n".encode()}))
                 for name in self.packages]
        made.sort(key=lambda each: parts.index(each[0]))
        self.modules = [bench.module(part, name, version, {file: content})
                        for part, name, version, file, content in made]

    def assign(self, type="forced"):
        return self.bench.assign(*self.modules, type=type)

    def supervise(self, *arguments, **options):
        return self.bench.supervise("--bootloader-mtd", PARTITION, *arguments, **options)

    def assert_installed(self):
        """Asserts that everything is installed completely, and that nothing else was touched."""
        gateway = self.bench.gateway
        has = self.parts.__contains__
        expected_files = {f"{name}.txt": f"the {name}\n".encode() for name in self.packages}
        if has("script"):
            expected_files["settings"] = b"set\n"
        assert gateway.firmware == (NEW if has("os") else OLD)
        assert gateway.chip("firmware") == (self.image if has("os") else None)
        assert gateway.chip("zwave") == (RADIO if has("zw") else None)
        assert gateway.chip("plc") == (POWERLINE if has("plc") else None)
        assert self.flash.read_bytes() == (LOADER.ljust(FLASH_SIZE, b"\377") if has("bl")
                                           else b"\0" * FLASH_SIZE)
        assert gateway.packages == dict.fromkeys(self.packages, ("1.4", "installed"))
        assert gateway.installed_files == expected_files
        assert {part: self.bench.option(f"version_{part}") for part in self.parts} == {
            part: VERSIONS[part] for part in self.parts}
        assert self.bench.option("previous_version_os") == (OLD if has("os") else None)
        assert self.bench.option("previous_version_os_tmp") is None
        assert self.bench.option("rebooted") == ("0" if has("os") else None)
        assert gateway.leftovers() == []


def let_it_poll_again(bench):
    """Gives the daemon time to clean up, and to do something wrong."""
    for _ in range(2):
        polls = len(bench.exchanges("base"))
        # A restarted daemon polls by itself.
        with contextlib.suppress(BusError):
            bench.gateway.bus.call("force_poll")
        bench.wait_for_exchanges("base", polls + 1)


def closing_report(bench):
    """The closing report; asserts that there is only one."""
    let_it_poll_again(bench)
    reports = bench.closing_reports()
    assert len(reports) == 1
    assert {each.status for each in bench.exchanges("feedback")} == {200}
    return reports[0]


def failure(bench, action, part, message="External program returned an error"):
    """Waits for the failure of a part's installation; returns the reported details except the message."""
    bench.wait_for_end(action)
    execution, result, _, (reported, *details, chunk) = closing_report(bench)
    assert (execution, result) == ("closed", "failure")
    assert action.status is Status.ERROR
    assert reported == message
    assert chunk == CHUNKS[part]
    assert bench.gateway.leftovers() == []
    assert bench.option(f"version_{part}") is None
    return "\n".join(details)
