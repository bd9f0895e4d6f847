# SPDX-License-Identifier: Apache-2.0
"""The simulated gateway is isolated, and ends with the process that made it."""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time

import pytest

from gateway import Gateway, GatewayError
from gateway_helpers import shell

PROJECT = pathlib.Path(__file__).resolve().parents[2]


def test_streams_are_kept_apart_and_lines_arrive_at_once(gateway):
    program = gateway.start_daemon(["sh", "-c", "echo one; echo two >&2; exec sleep 100"])

    program.wait_for_line("^one$")
    program.wait_for_line("^two$")

    assert program.out == "one\n"
    assert program.err == "two\n"
    assert program.exit_status is None


def test_signals_ignored_by_the_caller_still_reach_programs(gateway):
    before = signal.signal(signal.SIGHUP, signal.SIG_IGN)
    try:
        daemon = gateway.start_daemon(["sleep", "100"])
    finally:
        signal.signal(signal.SIGHUP, before)

    daemon.signal(signal.SIGHUP)

    assert daemon.wait(20) == -signal.SIGHUP


def test_exit_status_and_signals_are_reported(gateway):
    assert shell(gateway, "exit 7").exit_status == 7
    assert gateway.start_daemon(["sleep", "100"]).terminate() == -signal.SIGTERM
    assert gateway.start_daemon(["sleep", "100"]).kill() == -signal.SIGKILL


def test_program_inherits_only_its_three_streams(gateway):
    program = shell(gateway, "for n in 0 1 2 3 4 5 6 7 8 9; do"
                             " [ ! -e /proc/$$/fd/$n ] || echo $n; done")

    assert program.out.split() == ["0", "1", "2"]


def test_missing_program_is_an_error(gateway):
    with pytest.raises(GatewayError, match="nothing-here"):
        gateway.start_daemon(["/nothing-here"])


def test_waiting_for_a_line_ends_with_the_program(gateway):
    program = gateway.start_daemon(["sh", "-c", "echo only this"])

    with pytest.raises(AssertionError, match="only this"):
        program.wait_for_line("something else", timeout=60)


def test_tmp_is_private_and_shows_checkout_and_run_directory(gateway, tmp_path):
    marker = pathlib.Path("/tmp") / f"host-{os.getpid()}"
    marker.touch()
    try:
        program = shell(gateway, f"ls /tmp; touch /tmp/mine; ls {PROJECT}/CMakeLists.txt "
                                 f"{tmp_path}/gateway/etc")
    finally:
        marker.unlink()

    assert program.exit_status == 0
    assert marker.name not in program.out
    assert gateway.leftovers() == ["mine"]
    assert not pathlib.Path("/tmp/mine").exists()


def test_only_files_are_left_over_in_the_directory_for_downloads(gateway):
    shell(gateway, "mkdir -p /tmp/zephran/agent-a /tmp/zephran/agent-b /tmp/other; touch /tmp/zephran/agent-b/one.sh")

    assert gateway.leftovers() == ["other", "zephran/agent-b/one.sh"]


def test_configuration_is_writable_and_the_rest_of_etc_is_not(gateway):
    gateway.config("zephran", "before\n")
    host = pathlib.Path("/etc/hostname").read_bytes()

    program = shell(gateway, "cat /etc/config/zephran; echo after >/etc/config/zephran;"
                             "echo broken >/etc/hostname; touch /etc/ssl/new")

    assert program.out == "before\n"
    assert gateway.config("zephran") == "after\n"
    assert program.err.count("Read-only file system") == 2
    assert pathlib.Path("/etc/hostname").read_bytes() == host
    assert not pathlib.Path("/etc/config").exists()


def test_tools_and_init_scripts_stand_where_the_gateway_has_them(gateway):
    gateway.tool("sysupgrade", "#!/bin/sh\necho tool $1\n")
    gateway.init_script("opensync", "#!/bin/sh\necho service $1\n")

    program = shell(gateway, "/sbin/sysupgrade a; sysupgrade b; /etc/init.d/opensync stop")

    assert program.out == "tool a\ntool b\nservice stop\n"


def test_restart_keeps_tmp_and_reboot_clears_it(gateway):
    gateway.config("zephran", "kept\n")
    shell(gateway, "mkdir -p /tmp/a/b; touch /tmp/a/b/c; ln -s / /tmp/link")
    after_restart = shell(gateway, "ls /tmp/a/b/c; sleep 100 >/dev/null 2>&1 &")
    running = gateway.start_daemon(["sleep", "100"])
    sleeping = shell(gateway, "cat /proc/[0-9]*/comm").out.count("sleep")

    gateway.reboot()

    assert after_restart.exit_status == 0
    assert sleeping == 2
    assert running.exit_status == -signal.SIGKILL
    assert gateway.leftovers() == []
    assert shell(gateway, "cat /proc/[0-9]*/comm").out.count("sleep") == 0
    assert gateway.config("zephran") == "kept\n"


def test_tmp_can_be_small(tmp_path):
    with Gateway(tmp_path / "small", tmp_size="64k") as gateway:
        program = shell(gateway, "head -c 100000 /dev/zero >/tmp/file")

    assert program.exit_status != 0
    assert "No space left" in program.err


def test_close_ends_every_program(tmp_path):
    gateway = Gateway(tmp_path / "closing")
    program = gateway.start_daemon(["sh", "-c", "setsid sleep 100 & echo started; wait"])
    program.wait_for_line("started")
    inside = pathlib.Path(f"/proc/{gateway.outer_pid}")

    gateway.close()

    assert not inside.exists()


def test_gateway_ends_with_the_process_that_made_it(tmp_path):
    script = ("from gateway import Gateway; import time;"
              f"g = Gateway({str(tmp_path / 'orphan')!r}); g.start_daemon(['sleep', '100']);"
              "print(g.outer_pid, flush=True); time.sleep(100)")
    maker = subprocess.Popen([sys.executable, "-c", script], stdout=subprocess.PIPE, text=True,
                             cwd=PROJECT / "devkit")
    inside = pathlib.Path(f"/proc/{int(maker.stdout.readline())}")

    maker.kill()
    maker.communicate()

    deadline = time.monotonic() + 30
    while inside.exists() and time.monotonic() < deadline:
        time.sleep(0.05)
    assert not inside.exists()


AS_NOBODY = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"]


@pytest.mark.skipif(os.geteuid() != 0, reason="every other test runs as an ordinary user already")
def test_gateway_needs_no_privileges():
    if subprocess.run([*AS_NOBODY, "unshare", "--user", "true"], check=False,
                      capture_output=True).returncode != 0:
        pytest.skip("ordinary users may not make namespaces here, as inside a chroot")
    # Others cannot read a checkout below /root, nor pytest's own directories.
    place = pathlib.Path(subprocess.check_output(["mktemp", "-d", "/var/tmp/ordinary.XXXXXX"],
                                                 text=True).strip())
    try:
        shutil.copytree(PROJECT / "devkit/gateway", place / "devkit/gateway")
        shutil.copy(PROJECT / "devkit/in-gateway", place / "devkit")
        (place / "zephran").write_text("a setting\n", encoding="utf-8")
        subprocess.run(["chown", "-R", "nobody:nogroup", place], check=True)
        done = subprocess.run(
            [*AS_NOBODY, place / "devkit/in-gateway", "--run-dir", place / "run",
             "--config", f"zephran={place}/zephran", "--",
             "sh", "-c", "cat /etc/config/zephran; id -u; touch /etc/hosts; exit 3"],
            cwd=place, capture_output=True, text=True, timeout=60, check=False)
    finally:
        shutil.rmtree(place)

    assert done.stdout == "a setting\n0\n"
    assert "cannot touch '/etc/hosts'" in done.stderr
    assert done.returncode == 3


def test_flash_partition_exists_on_the_gateway_only(gateway):
    content = gateway.flash("mtd1", b"old" + b"\0" * 4093, erase_size=4096)

    program = shell(gateway, "cat /sys/class/mtd/mtd1/erasesize; head -c 3 /dev/mtd1;"
                             "printf new 1<>/dev/mtd1;"
                             "echo x >/dev/null; head -c 1 /dev/urandom >/tmp/random; ls /sys/class")

    assert program.exit_status == 0
    assert program.out.startswith("4096\nold")
    assert "net" in program.out.split()
    assert content.read_bytes() == b"new" + b"\0" * 4093
    assert not pathlib.Path("/dev/mtd1").exists()


def test_files_in_etc_can_be_replaced_while_the_gateway_runs(gateway):
    gateway.etc_file("nevra-version", "FIRMWARE_VERSION=1\n")
    before = shell(gateway, "cat /etc/nevra-version").out
    gateway.etc_file("nevra-version", "FIRMWARE_VERSION=2\n")

    assert before == "FIRMWARE_VERSION=1\n"
    assert shell(gateway, "cat /etc/nevra-version").out == "FIRMWARE_VERSION=2\n"
