# SPDX-License-Identifier: Apache-2.0
"""script/lib/with_arm_programs, with stand-ins for the emulator and for unshare."""
from __future__ import annotations

import os
import pathlib
import subprocess

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]


def run(directory, unshare):
    """Runs a command that prints a word, on a machine with this unshare and the formats in the directory formats."""
    for name, text in {"qemu-arm": "exit 9", "unshare": unshare}.items():
        (directory / name).write_text(f"#!/bin/bash\n{text}\n", encoding="utf-8")
        (directory / name).chmod(0o755)
    return subprocess.run([PROJECT / "script/lib/with_arm_programs", "sh", "-c", "echo word; exit 3"],
                          env={**os.environ, "PATH": f"{directory}:{os.environ['PATH']}",
                               "ZEPHRAN_BINFMT_DIR": str(directory / "formats")},
                          capture_output=True, text=True, check=False)


def register_for_all(directory, name, interpreter):
    formats = directory / "formats"
    # The kernel's file of this name cannot be read, like a directory.
    (formats / "register").mkdir(parents=True)
    (formats / name).write_text(f"enabled\ninterpreter {interpreter}\nflags: F\n", encoding="utf-8")


def test_command_runs_with_the_format_registered_and_keeps_its_status(tmp_path):
    # What follows the options: bash -ec TEXT bash FORMAT COMMAND ...
    done = run(tmp_path, f'while [ "$1" != bash ]; do shift; done; printf "%s\\n" "$5" >{tmp_path}/format; '
                         '"${@:6}"')

    assert (done.returncode, done.stdout) == (3, "word\n")
    fields = (tmp_path / "format").read_text(encoding="utf-8").rstrip("\n").split(":")
    assert fields[1:3] == ["arm", "M"]
    assert fields[6] == str(tmp_path / "qemu-arm")
    magic, mask = (bytes(text, "ascii").decode("unicode_escape") for text in fields[4:6])
    assert magic.startswith("\x7fELF\x01\x01\x01")
    assert len(magic) == len(mask) == 20


def test_machine_that_cannot_register_it_is_told_apart_from_a_failure(tmp_path):
    register_for_all(tmp_path, "qemu-armeb", "/usr/bin/qemu-armeb")

    done = run(tmp_path, "exit 1")

    assert done.returncode == 77
    assert "Linux 6.7 or newer is needed" in done.stdout.splitlines()[-1]
    assert "word" not in done.stdout


@pytest.mark.parametrize("emulator", ["/usr/bin/qemu-arm", "/usr/libexec/qemu-arm-static"])
def test_emulator_registered_for_all_will_do(tmp_path, emulator):
    register_for_all(tmp_path, "qemu-arm", emulator)

    done = run(tmp_path, "exit 1")

    assert (done.returncode, done.stdout) == (3, "word\n")
