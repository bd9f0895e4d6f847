# SPDX-License-Identifier: Apache-2.0
"""script/size, with programs of a known size instead of the daemon."""
from __future__ import annotations

import os
import pathlib
import platform
import re
import shutil
import subprocess

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUDGET = 610_000
BUILD = """#!/bin/sh
mkdir -p build/release/src
cc -g -x c - -o build/release/src/zephran <<'PROGRAM'
const char largest_of_all[{size}] = {{1}};
int main(void) {{ return largest_of_all[0] - 1; }}
PROGRAM
"""

pytestmark = pytest.mark.skipif(platform.machine() != "x86_64", reason="the budget is for x86-64")


@pytest.fixture(name="measure")
def fixture_measure(tmp_path):
    """Runs the script in a project whose daemon holds an array of this many bytes; returns its status and text."""
    for name in ("script/lib/common.sh", "script/size"):
        (tmp_path / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(PROJECT / name, tmp_path / name)

    def measure(size, **environment):
        build = tmp_path / "script/build"
        build.write_text(BUILD.format(size=size), encoding="utf-8")
        build.chmod(0o755)
        done = subprocess.run([tmp_path / "script/size"], env={**os.environ, **environment},
                              capture_output=True, text=True, check=False)
        return done.returncode, done.stdout + done.stderr
    return measure


def test_program_within_the_budget_passes(measure):
    status, text = measure(BUDGET - 100_000)

    assert status == 0
    assert re.search(rf"^x86_64 +5\d{{5}} bytes, budget {BUDGET}, 5\d{{5}} with symbols$", text, re.M)
    assert "largest_of_all" not in text


def test_program_above_the_budget_fails_and_its_largest_symbol_is_named_first(measure):
    status, text = measure(BUDGET + 1)

    assert status == 1
    assert re.search(rf"too large\. The largest symbols, in bytes:\n +{BUDGET + 1} +largest_of_all$", text, re.M)


def test_program_that_cannot_be_stripped_fails_although_an_older_one_was_small(measure, tmp_path):
    assert measure(1)[0] == 0
    strip = tmp_path / "strip"
    strip.write_text("#!/bin/sh\nexit 1\n", encoding="utf-8")
    strip.chmod(0o755)

    status, text = measure(BUDGET + 1, PATH=f"{tmp_path}:{os.environ['PATH']}")

    assert status == 1
    assert "budget" not in text


def test_arm_is_left_out_with_a_reason_where_it_cannot_be_built(measure):
    _, text = measure(1)

    assert "== arm is left out: this tree has no preset armhf" in text
