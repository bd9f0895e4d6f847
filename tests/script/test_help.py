# SPDX-License-Identifier: Apache-2.0
"""Each script explains itself."""
from __future__ import annotations

import pathlib
import subprocess

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
SCRIPTS = [PROJECT / ".ci/run", *(path for path in sorted((PROJECT / "script").iterdir()) if path.is_file())]


@pytest.mark.parametrize("script", SCRIPTS, ids=lambda script: script.name)
def test_help_is_the_text_at_the_top_without_the_licence(script):
    done = subprocess.run([script, "--help"], capture_output=True, text=True, check=False, timeout=60)

    assert (done.returncode, done.stderr) == (0, "")
    lines = done.stdout.splitlines()
    assert f"  {script.relative_to(PROJECT)} " in done.stdout + " "
    assert lines[0] != ""
    assert lines[0] in script.read_text(encoding="utf-8")
    assert "SPDX" not in done.stdout
    assert 'source "' not in done.stdout
