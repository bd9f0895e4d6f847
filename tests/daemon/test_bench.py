# SPDX-License-Identifier: Apache-2.0
"""The bench itself, where other tests would not show what is wrong with it."""
import pathlib
import shutil
import tempfile

import pytest

import gateway_bench


@pytest.fixture(name="build")
def fixture_build():
    """An empty directory where the gateway has its own temporary files."""
    with tempfile.TemporaryDirectory(dir="/tmp") as directory:
        yield pathlib.Path(directory)


def test_build_may_be_below_the_directory_that_the_gateway_replaces(make_bench, build, monkeypatch):
    for directory in ("src", "devkit/openwrt"):
        copy_programs(gateway_bench.BUILD / directory, build / directory)
    monkeypatch.setattr(gateway_bench, "BUILD", build)
    monkeypatch.setattr(gateway_bench, "DAEMON", build / "src/zephran")
    monkeypatch.setattr(gateway_bench, "BUS_PROGRAMS", build / "devkit/openwrt/bin")
    bench = make_bench()

    daemon = bench.run(["--help"])

    assert (daemon.exit_status, daemon.err) == (0, "")


def copy_programs(source, target):
    """Copies the directory without what is needed for compiling only."""
    shutil.copytree(source, target, ignore=shutil.ignore_patterns("*.a", "*.o", "CMakeFiles"))
