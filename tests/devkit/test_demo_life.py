# SPDX-License-Identifier: Apache-2.0
"""What the demonstration observes in a simulated gateway, with shell scripts as daemons."""
import queue
import time
from dataclasses import replace

import pytest

from demo.failure import DemoFailure
from demo.inventory import take_inventory
from demo.life import Life, Reboot
from demo.rollouts import BEFORE, ERASE_SIZE, PARTITION
from gateway import Gateway
from gateway_helpers import TIMEOUT

STORED = """
config service 'service'
	option automatic_update '0'
	option rebooted '0'

config device 'device'
	option version_os '2.1_20260101'
	option installation_time_os '2026-11-21T21:44:30Z'
	option installation_time_zw 'soon'
"""


def test_inventory_lists_what_is_on_the_gateway(tmp_path):
    with Gateway(tmp_path) as gateway:
        gateway.config("zephran", STORED)
        partition = gateway.flash(PARTITION, BEFORE.boot_loader, ERASE_SIZE)
        image = tmp_path / "radio.bin"
        image.write_bytes(b"radio")
        gateway.run(["zwprogrammer", "--progzwave", image])
        (gateway.tmp / "x.bin").touch()

        found = take_inventory(gateway, partition)

    assert found == replace(
        BEFORE, firmware="1.0_20250101", radio=b"radio", timed=("os",), tools=("zwprogrammer",),
        left_behind=("x.bin",), records={"rebooted": "0", "version_os": "2.1_20260101"})


def happenings_of(gateway, script, count):
    """The first happenings in the life of a daemon that is a shell script."""
    happenings, told = queue.Queue(), []
    life = Life(gateway, ["sh", "-c", script, "daemon"], happenings.put)
    life.start()
    deadline = time.monotonic() + TIMEOUT
    while len(told) < count:
        life.check()
        assert time.monotonic() < deadline, told
        try:
            told.append(happenings.get(timeout=0.1))
        except queue.Empty:
            continue
    life.end()
    return told


def test_reboot_is_reported_between_the_lines_of_both_daemons(tmp_path):
    with Gateway(tmp_path) as gateway:
        image = tmp_path / "fw.img"
        image.write_bytes(b"FIRMWARE_VERSION=2.1 FIRMWARE_DATE=20260101\n")

        told = happenings_of(gateway, 'echo "here with $*"\n'
                             f'[ $# -gt 0 ] || sysupgrade {image} >/dev/null\nexec sleep 1000', count=3)

    assert [each if isinstance(each, Reboot) else each.text for each in told] == [
        "here with ", Reboot(-9, "2.1_20260101", (), ("--dormant", "true")), "here with --dormant true"]


def test_daemon_that_ends_by_itself_is_not_restarted(tmp_path):
    with Gateway(tmp_path) as gateway, pytest.raises(DemoFailure, match="ended by itself, with status 7"):
        happenings_of(gateway, "exit 7", count=1)
