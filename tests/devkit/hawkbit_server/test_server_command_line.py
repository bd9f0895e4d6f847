# SPDX-License-Identifier: Apache-2.0
"""The server as a command."""

from __future__ import annotations

import http.client
import json
import signal
import subprocess
from pathlib import Path

import pytest

COMMAND = Path(__file__).resolve().parents[3] / "devkit" / "hawkbit-server"


def describe(directory: Path, **members: object) -> Path:
    (directory / "hello.sh").write_bytes(b"#!/bin/sh\necho hello\n")
    description = {"poll": "00:00:07",
                   "modules": [{"type": "script", "name": "hello", "version": "1", "artifacts": ["hello.sh"]}],
                   "assignments": [{"target": "gw-1", "modules": [0], "type": "soft"}], **members}
    path = directory / "description.json"
    path.write_text(json.dumps(description))
    return path


def run(*arguments: str | Path) -> subprocess.CompletedProcess[str]:
    return subprocess.run([COMMAND, *arguments], capture_output=True, text=True, timeout=30, check=False)


def test_description_is_served_until_the_server_is_stopped(tmp_path: Path) -> None:
    with subprocess.Popen([COMMAND, describe(tmp_path)], stdout=subprocess.PIPE, text=True) as process:
        try:
            assert process.stdout is not None
            lines = iter(process.stdout.readline, "")
            url = next(line for line in lines if line.startswith("serving ")).split()[1]
            connection = http.client.HTTPConnection(url.removeprefix("http://"), timeout=20)
            connection.request("GET", "/DEFAULT/controller/v1/gw-1")
            document = json.loads(connection.getresponse().read())
            polled = next(line for line in lines if line.startswith("polled: "))
            process.send_signal(signal.SIGTERM)
            assert process.wait(20) == 0
        finally:
            process.kill()

    assert document["config"]["polling"]["sleep"] == "00:00:07"
    assert "deploymentBase" in document["_links"]
    assert "target=gw-1" in polled


@pytest.mark.parametrize("members, named", [
    ({"poll": "7"}, "polling time '7'"), ({"modules": [{"type": "script"}]}, "KeyError: 'name'"),
    ({"modules": []}, "IndexError"),
    ({"modules": [{"type": "script", "name": "a", "version": "1", "artifacts": ["missing.sh"]}]}, "missing.sh"),
    ({"assignments": [{"target": "gw-1", "modules": [0], "type": "hard"}]}, "'hard'")])
def test_bad_description_is_named(tmp_path: Path, members: dict[str, object], named: str) -> None:
    path = describe(tmp_path, **members)

    done = run(path)

    assert done.returncode == 1
    assert named in done.stderr
    assert "Traceback" not in done.stderr


def test_missing_certificate_is_named(tmp_path: Path) -> None:
    done = run("--certificate", tmp_path / "x.crt", "--key", tmp_path / "x.key")

    assert (done.returncode, done.stderr.count("\n")) == (1, 1)
    assert done.stderr.startswith("hawkbit-server: FileNotFoundError: ")


def test_certificate_without_a_key_is_a_usage_error(tmp_path: Path) -> None:
    done = run("--certificate", tmp_path / "x.crt")

    assert (done.returncode, done.stderr) == (2, "hawkbit-server: --certificate and --key need each other\n")
