# SPDX-License-Identifier: Apache-2.0
"""Fixtures of the daemon's tests. Each test has its own gateway and server."""
import contextlib

import pytest

import shipped
from bench import Bench
from gateway_bench import DAEMON
from local_control import LocalControl
from pki import Pki


def pytest_configure(config):
    config.addinivalue_line("markers", f"{shipped.MARK}(*entries, sometimes=False): knows a daemon without the options "
                                       "of these entries of docs/shipped-options.md")


def pytest_sessionstart(session):
    if not DAEMON.exists():
        pytest.exit(f"{DAEMON} is missing: run script/build, or set ZEPHRAN_BUILD_DIR", 2)


def pytest_collection_modifyitems(config, items):
    known = shipped.entries()
    for item in items:
        if unknown := shipped.marks_of(item) - set(known):
            raise pytest.UsageError(f"{item.nodeid}: docs/shipped-options.md has no entry {', '.join(unknown)}")
    if shipped.chosen_run() == "differences":
        config.hook.pytest_deselected(items=[item for item in items if not shipped.must_differ(item)])
        items[:] = [item for item in items if shipped.must_differ(item)]
        for item in items:
            item.add_marker(pytest.mark.xfail(strict=True, reason="differs with the shipped options"))


@pytest.fixture(name="pki", scope="session")
def fixture_pki(tmp_path_factory):
    return Pki(tmp_path_factory.mktemp("pki"), client_name="gw-1")


@pytest.fixture(name="make_bench")
def fixture_make_bench(request, tmp_path, pki):
    """For tests that need other certificates or settings of the server: make_bench(poll="00:01:00")."""
    with contextlib.ExitStack() as benches:
        def make(**options):
            bench = Bench(tmp_path, pki, **{"config": shipped.configuration_for(request.node), **options})
            benches.callback(bench.close)
            return bench
        yield make


@pytest.fixture(name="bench")
def fixture_bench(make_bench):
    return make_bench()


@pytest.fixture(name="control")
def fixture_control(bench):
    return LocalControl(bench)
