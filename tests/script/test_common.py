# SPDX-License-Identifier: Apache-2.0
"""script/lib/common.sh: when a build directory has to be configured from the start."""
from __future__ import annotations

import pathlib
import subprocess

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]


@pytest.mark.parametrize("cache, option", [
    (None, ""),
    ("ZEPHRAN_SYSROOT:UNINITIALIZED=/cache/armhf-1\n", ""),
    ("ZEPHRAN_SYSROOT:PATH=/cache/armhf-1\n", ""),
    ("ZEPHRAN_SYSROOT:UNINITIALIZED=/cache/armhf-0\n", "--fresh"),
    ("ZEPHRAN_SYSROOT:UNINITIALIZED=/cache/armhf-10\n", "--fresh"),
    ("OTHER_ZEPHRAN_SYSROOT:PATH=/cache/armhf-1\n", "--fresh"),
])
def test_directory_configured_with_another_value_starts_anew(tmp_path, cache, option):
    if cache is not None:
        (tmp_path / "CMakeCache.txt").write_text(cache, encoding="utf-8")

    done = subprocess.run(
        ["bash", "-c", f"source script/lib/common.sh; fresh_option {tmp_path} ZEPHRAN_SYSROOT /cache/armhf-1"],
        cwd=PROJECT, capture_output=True, text=True, check=True)

    assert done.stdout.strip() == option
