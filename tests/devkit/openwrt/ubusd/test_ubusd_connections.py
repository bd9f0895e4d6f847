# SPDX-License-Identifier: Apache-2.0
"""The stand-in broker's socket, its command line, and its greeting."""
import os
import signal
import stat
import subprocess

import pytest

from bus_bench import PATIENCE, UBUS, UBUSD, standin_only, words
from openwrt.bus.wire import A_PATH, LOOKUP, text

# In a chroot only root may have mounts of its own, and only as itself.
OWN_MOUNTS = ["unshare", "--mount"] + ([] if os.geteuid() == 0 else ["--map-root-user"])


def test_greeting_has_the_clients_id_and_nothing_else(bus):
    clients = [bus.client() for _ in range(8)]

    for client in clients:
        assert client.greeting == words(f"00000000 {client.id:08x} 00000004")
        assert client.id >= 1024
    assert len({client.id for client in clients}) == 8


def test_socket_is_open_to_everybody_and_removed_at_the_end(bus):
    assert stat.S_IMODE(os.stat(bus.path).st_mode) == 0o666

    bus.stop()

    assert not bus.path.exists()


def test_clients_see_the_end_of_the_broker(bus):
    client = bus.client()

    bus.process.send_signal(signal.SIGINT)

    assert client.closed_by_broker()
    assert bus.process.wait(PATIENCE) == 0
    assert not bus.path.exists()


def test_second_broker_takes_the_path_over_until_the_first_one_ends(bus):
    first, old = bus.process, bus.client()
    old.add("old")

    bus.start()
    new = bus.client()

    assert new.request(LOOKUP) == ([], 0)
    assert old.request(LOOKUP, text(A_PATH, "old"))[1] == 0
    first.terminate()
    assert first.wait(PATIENCE) == 0
    assert not bus.path.exists()
    assert new.request(LOOKUP) == ([], 0)


@standin_only
def test_what_is_no_socket_is_not_removed(tmp_path):
    path = tmp_path / "file"
    path.write_text("content", encoding="utf-8")

    broker = subprocess.run([UBUSD, "-s", path], capture_output=True, text=True, timeout=PATIENCE,
                            check=False)

    assert broker.returncode == 255
    assert broker.stderr == "usock: Address already in use\n"
    assert path.read_text(encoding="utf-8") == "content"


def test_default_path_is_made_with_its_directory():
    script = f"""
        mount -t tmpfs none /run
        '{UBUSD}' & broker=$!
        until '{UBUS}' list; do kill -0 $broker || exit 1; sleep 0.05; done 2>/dev/null
        stat -c '%a %F %n' /run/ubus /run/ubus/ubus.sock
        kill $broker
        wait $broker && ls -A /run/ubus"""

    room = subprocess.run([*OWN_MOUNTS, "sh", "-e", "-c", script],
                          capture_output=True, text=True, timeout=PATIENCE, check=False)

    assert (room.returncode, room.stderr) == (0, "")
    assert room.stdout == "755 directory /run/ubus\n666 socket /run/ubus/ubus.sock\n"


@standin_only
def test_other_path_leaves_the_default_directory_alone():
    script = f"""
        mount -t tmpfs none /run
        '{UBUSD}' -s /run/bus & broker=$!
        until '{UBUS}' -s /run/bus list; do kill -0 $broker || exit 1; sleep 0.05; done 2>/dev/null
        ls -A /run
        kill $broker
        wait $broker"""

    room = subprocess.run([*OWN_MOUNTS, "sh", "-e", "-c", script],
                          capture_output=True, text=True, timeout=PATIENCE, check=False)

    assert (room.returncode, room.stdout, room.stderr) == (0, "bus\n", "")


@pytest.mark.parametrize("path, reason", [("x" * 200, "Invalid argument"),
                                          ("/nowhere/bus", "No such file or directory")])
def test_impossible_path_is_an_error(path, reason):
    broker = subprocess.run([UBUSD, "-s", path], capture_output=True, text=True, timeout=PATIENCE,
                            check=False)

    assert broker.returncode == 255
    assert broker.stderr == f"usock: {reason}\n"


@pytest.mark.parametrize("arguments", [["-x"], ["-s"]])
def test_wrong_command_line_is_an_error(arguments):
    broker = subprocess.run([UBUSD, *arguments], capture_output=True, text=True, timeout=PATIENCE,
                            check=False)

    assert broker.returncode == 1
    assert "Usage: " in broker.stderr
