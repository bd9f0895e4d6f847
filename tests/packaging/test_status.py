# SPDX-License-Identifier: Apache-2.0
"""The command that shows people, and scripts, what the daemon is doing."""
import json
import subprocess

import pytest

from openwrt.procd import service

CALL = ["-S", "-t", "5", "call", "zephran", "get_status"]
COUNTERS = {"polls": 3, "failed_polls": 0, "deployments": 0, "bytes": 0}


@pytest.fixture(name="show")
def fixture_show(gateway):
    """Runs the command while the daemon answers so; None stands for no daemon."""
    def show(answer, *arguments):
        reply = gateway.root / "reply"
        if answer is not None:
            reply.write_text(json.dumps(answer))
        gateway.command("ubus", f"#!/bin/sh\nprintf '%s\\n' \"$@\" >'{gateway.root}/call'\n"
                                f"cat '{reply}' 2>/dev/null || exit 4\n")
        environment = service.environment(gateway.root, gateway.record)
        environment["PATH"] = f"{gateway.root / 'bin'}:{environment['PATH']}"
        done = subprocess.run([*gateway.shell, gateway.place("zephran.status"), *arguments], env=environment,
                              capture_output=True, text=True, check=False, timeout=60)
        return done.returncode, done.stdout, done.stderr
    return show


def test_daemon_is_asked_once(gateway, show):
    show({"state": "idle", "counters": COUNTERS})

    assert (gateway.root / "call").read_text().splitlines() == CALL


@pytest.mark.parametrize("state, status", [
    ("idle", 0), ("dormant", 0), ("polling", 0), ("waiting_window", 3), ("waiting_delay", 3),
    ("waiting_user", 3), ("downloading", 4), ("verifying", 4), ("installing", 4), ("reporting", 4), ("backoff", 5)])
def test_status_is_for_scripts(show, state, status):
    assert show({"state": state, "counters": COUNTERS}) == (status, f"state        {state}\n", "")


def test_everything_is_on_one_screen(show):
    status, output, errors = show({
        "state": "downloading", "action_id": "42", "chunk": 2, "chunks": 3, "part": "os", "version": "1.5",
        "bytes": 5000000, "size": 20000000, "speed": 400000, "attempt": 1,
        "next_poll": "2026-11-22T18:05:00Z", "delay_until": "2026-11-22T18:06:00Z",
        "backoff_until": "2026-11-22T18:07:00Z",
        "last_error": {"time": "2026-11-22T17:00:00Z", "text": "no answer", "status": 1007},
        "last_result": {"time": "2026-11-22T16:00:00Z", "action_id": "41", "result": "failure"},
        "counters": COUNTERS})

    assert (status, errors) == (4, "")
    assert output.splitlines() == [
        "state        downloading", "action       42", "part         os 1.5 (2 of 3)",
        "downloaded   5000000 of 20000000 bytes at 400000 bytes/s",
        "not before   2026-11-22T18:06:00Z", "back-off     2026-11-22T18:07:00Z",
        "next poll    2026-11-22T18:05:00Z",
        "last result  failure 2026-11-22T16:00:00Z action 41",
        "last error   no answer 2026-11-22T17:00:00Z (1007)"]


def test_what_the_server_names_cannot_control_a_terminal(show):
    _, output, _ = show({"state": "installing", "action_id": "1", "chunk": 1, "chunks": 1,
                         "part": "os\u001b[2J", "version": "1\n0$(id)`id`\u202e\u009b", "counters": COUNTERS})

    assert output.splitlines()[2] == "part         os[2J 10$(id)`id` (1 of 1)"


@pytest.mark.parametrize("answer", [None, {"success": False, "message": "no gateway agent"}, {"state": "new"}])
def test_daemon_that_does_not_answer_is_told(show, answer):
    assert show(answer) == (1, "", "zephran does not answer: it is not running, or bus_extended is off\n")


def test_arguments_are_refused(show):
    assert show({"state": "idle", "counters": COUNTERS}, "-v") == (2, "", "Usage: zephran-status\n")
