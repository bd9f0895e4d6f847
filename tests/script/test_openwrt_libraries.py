# SPDX-License-Identifier: Apache-2.0
"""script/openwrt-libraries, as far as it builds nothing."""
from __future__ import annotations

import os
import pathlib
import subprocess

PROJECT = pathlib.Path(__file__).resolve().parents[2]
SCRIPT = PROJECT / "script/openwrt-libraries"


def run(cache, *arguments, sources=None):
    environment = {**os.environ, "XDG_CACHE_HOME": str(cache), "OPENWRT_SOURCES": str(sources or "")}
    return subprocess.run([SCRIPT, *arguments], env=environment, capture_output=True, text=True, check=False,
                          timeout=60)


def test_without_sources_it_is_skipped_and_says_what_to_set(tmp_path):
    done = run(tmp_path)

    assert (done.returncode, done.stderr) == (77, "")
    assert "set OPENWRT_SOURCES to a directory with the checkouts libubox, ubus and uci" in done.stdout


def test_libraries_that_are_there_will_do_without_sources(tmp_path):
    stamp = tmp_path / "zephran/openwrt/sources.sha256"
    stamp.parent.mkdir(parents=True)
    stamp.write_text("of some sources\n", encoding="utf-8")

    done = run(tmp_path)

    assert (done.returncode, done.stderr) == (0, "")
    assert str(tmp_path / "zephran/openwrt") in done.stdout


def test_prefix_is_in_the_cache(tmp_path):
    assert run(tmp_path, "--prefix").stdout == f"{tmp_path}/zephran/openwrt\n"


def test_missing_checkout_is_named(tmp_path):
    for name in ("libubox", "uci"):
        (tmp_path / name).mkdir()
        (tmp_path / name / "CMakeLists.txt").touch()

    done = run(tmp_path, sources=tmp_path)

    assert done.returncode == 1
    assert f"there is no checkout of ubus in {tmp_path}" in done.stderr
