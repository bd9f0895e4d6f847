# SPDX-License-Identifier: Apache-2.0
"""The demonstration's exit status and text follow what really happened."""
import os
import pathlib
import re
import shutil
import subprocess
import sys

import pytest

from gateway_bench import BUILD, BUS_PROGRAMS, PROJECT, TIMEOUT, uci_directory

# As the command prints it, after the demonstration's margin.
PENDING = """
         # ubus call zephran get_deployment
         {
                 "action_id": "1",
                 "chunks": [
                         {
                                 "type": "opkg",
                                 "version": "1.4"
                         },
"""
ACCEPTED = """
         # ubus call zephran accept_deployment
         {
                 "success": true
         }
"""


def run_demo(*arguments, build=BUILD, directory):
    """Runs the demonstration, with its temporary files below `directory`."""
    environment = {**os.environ, "PYTHONPATH": str(PROJECT / "devkit"), "TMPDIR": str(directory)}
    return subprocess.run(
        [sys.executable, "-B", "-P", "-m", "demo", "--build-dir", str(build), *arguments],
        env=environment, capture_output=True, text=True, timeout=2 * TIMEOUT, check=False)


def build_with_daemon(directory, script):
    """Makes a build directory whose daemon is a shell script."""
    daemon = directory / "build/src/zephran"
    daemon.parent.mkdir(parents=True)
    daemon.write_text("#!/bin/sh\n" + script, encoding="utf-8")
    daemon.chmod(0o755)
    shutil.copy(uci_directory() / "libuci.so", directory / "build")
    shutil.copy(BUILD / "message-bus.txt", directory / "build")
    shutil.copytree(BUS_PROGRAMS, directory / "build/devkit/openwrt/bin")
    return directory / "build"


def test_demo_of_a_release_succeeds(tmp_path):
    done = run_demo(directory=tmp_path)

    assert (done.returncode, done.stderr) == (0, "")
    assert "\r" not in done.stdout
    assert re.search(r"firmware.img: +[5-7]\d%, 1.\d MB of 2.0 MB", done.stdout)
    shown = " ".join(done.stdout.split())
    libraries = (BUILD / "message-bus.txt").read_text(encoding="utf-8").strip()
    assert f"access to the message bus was built with {libraries}" in shown
    in_order = [PENDING, ACCEPTED, "The gateway downloads a file",
                "$ sysupgrade '/tmp/firmware.img'",
                "comes back with the firmware 2.1_20260101 and its /tmp empty",
                "started again, with --dormant true", "it polls once, at once", "goes on there",
                "os:firmware:2.1_20260101 is deployed, 1 of 7 chunks",
                "script:greeting:1.0 is deployed, 2 of 7 chunks",
                "$ zwprogrammer --progzwave '/tmp/radio.bin'", "zw:radio:6.8 is deployed",
                "$ dd if=/tmp/loader.bin of=/dev/mtd1 bs=16384", "bl:boot-loader:7.0 is deployed",
                "plc:powerline:5.2 is deployed", "opkg:site-tools:1.4 is deployed",
                "opkg:site-report:2.0 is deployed, 7 of 7 chunks", "reports the end, success"]
    told = [shown.index(" ".join(text.split())) for text in in_order]
    assert told == sorted(told)
    assert "server's record action finished, target in_sync" in shown
    assert "action 1 accepted; downloads and reports before that: 0" in shown
    assert list(tmp_path.iterdir()) == []


def test_demo_reports_a_failing_release(tmp_path):
    done = run_demo("--fail", "--verbose", directory=tmp_path)

    assert (done.returncode, done.stderr) == (0, "")
    assert "> script_exit_code: 3" in done.stdout
    assert "server's record action error, target error" in done.stdout
    shown = " ".join(done.stdout.split())
    assert ("firmware 2.1_20260101 after 1 reboot, Z-Wave radio as it was, powerline chip as it was, "
            "boot loader as it was") in shown
    assert re.search(r"^ +\| .* event=ubus method=accept_deployment$", done.stdout, re.M)
    assert list(tmp_path.iterdir()) == []


def test_demo_fails_when_the_daemon_ends(tmp_path):
    build = build_with_daemon(tmp_path, "echo nothing works; exit 7\n")

    done = run_demo(build=build, directory=tmp_path)

    assert done.returncode == 1
    assert "status 7" in done.stderr
    assert "| nothing works" in done.stdout
    assert [each.name for each in tmp_path.iterdir()] == ["build"]


@pytest.mark.parametrize("missing", ["src/zephran", "libuci.so", "message-bus.txt",
                                     "devkit/openwrt/bin/ubusd", "devkit/openwrt/bin/ubus"])
def test_demo_names_what_an_incomplete_build_lacks(tmp_path, missing):
    build = build_with_daemon(tmp_path, "exit 0\n")
    (build / missing).unlink()

    done = run_demo(build=build, directory=tmp_path)

    assert done.returncode == 1
    assert pathlib.PurePath(missing).name in done.stderr
