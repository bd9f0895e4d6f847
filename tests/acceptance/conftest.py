# SPDX-License-Identifier: Apache-2.0
"""Selects the server for the scenarios: pytest --server devkit|devkit-nginx|hawkbit tests/acceptance.

`hawkbit` needs its jar in HAWKBIT_JAR, which script/acceptance provides. Without the option the
scenarios run against the development kit's server, once directly and once behind nginx.

All scenarios of all workers share one hawkBit, which belongs to the main process of pytest. Scenarios
marked `alone` therefore need a run without workers.
"""
import contextlib
import dataclasses
import itertools
import re
import tempfile
from pathlib import Path

import pytest

from as_recorded import can_be_compared, differences
from devkit_driver import DevkitServer
from gateway_bench import DAEMON
from hawkbit_driver import HawkbitServer
from hawkbit_server import Link, Peer, Tls
from hawkbit_site import HawkbitSite, Whereabouts
from home import Home
from pki import Pki
from recording import Recording
from recording_site import recorded_server
from results import Results, name_scenario

# Shows the values in failed assertions of these modules.
pytest.register_assert_rewrite("flow", "outcomes")

# The shortest polling time at which a deployment still starts by itself is about 6 s.
POLL = "00:00:08"
UNPROXIED_SERVER = "devkit"
DEVKIT_SERVERS = (UNPROXIED_SERVER, "devkit-nginx")
REAL_SERVER = "hawkbit"
SERVERS = (*DEVKIT_SERVERS, REAL_SERVER)

site_key = pytest.StashKey[HawkbitSite]()
passed_key = pytest.StashKey[bool]()


def pytest_addoption(parser):
    parser.addoption("--server", choices=SERVERS, action="append",
                     help="against which server; may be given more than once")
    parser.addoption("--record", action="store_true",
                     help="takes down what gateways and the real server say, as fixtures for its stand-in's tests")
    parser.addoption("--results", type=Path, metavar="FILE",
                     help="adds the result of each scenario to this file")


def pytest_configure(config):
    config.addinivalue_line("markers", "alone: changes the server for all, so nothing else may run beside it")
    config.addinivalue_line("markers", "proxied: needs a proxy in front of the server")
    if not _is_worker(config):
        config.pluginmanager.register(Results(config.getoption("--results")))


def _is_worker(config):
    return hasattr(config, "workerinput")


def pytest_sessionstart(session):
    if not DAEMON.exists():
        pytest.exit(f"{DAEMON} is missing: run script/build, or set ZEPHRAN_BUILD_DIR", 2)


def pytest_generate_tests(metafunc):
    if "server" in metafunc.fixturenames:
        chosen = metafunc.config.getoption("--server") or DEVKIT_SERVERS
        metafunc.parametrize("server", chosen, indirect=True, scope="function")


def pytest_collection_modifyitems(config, items):
    for item in items:
        name_scenario(item, SERVERS)
    impossible = [item for item in items if item.get_closest_marker("proxied")
                  and item.callspec.params["server"] == UNPROXIED_SERVER]
    config.hook.pytest_deselected(items=impossible)
    items[:] = [item for item in items if item not in impossible]


def _site(config):
    """The only hawkBit of this run, started on first use."""
    if site_key not in config.stash:
        directory = tempfile.TemporaryDirectory(prefix="zephran-hawkbit-")
        config.add_cleanup(directory.cleanup)
        config.stash[site_key] = HawkbitSite(Path(directory.name), POLL)
        config.add_cleanup(config.stash[site_key].close)
    return config.stash[site_key]


@pytest.hookimpl(optionalhook=True)
def pytest_configure_node(node):
    """Tells a worker of xdist where the server is."""
    if REAL_SERVER in (node.config.getoption("--server") or ()):
        node.workerinput[REAL_SERVER] = _site(node.config).whereabouts.plain()


@pytest.fixture(name="pki", scope="session")
def fixture_pki(tmp_path_factory):
    return Pki(tmp_path_factory.mktemp("pki"), client_name="gateways")


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    outcome = yield
    if call.when == "call":
        item.stash[passed_key] = outcome.get_result().passed


@pytest.fixture(name="server")
def fixture_server(request, tmp_path, label):
    if request.param == REAL_SERVER and _is_recorded(request):
        with recorded_server(_whereabouts(request.config), tmp_path, Recording(label, POLL),
                             lambda: request.node.stash.get(passed_key, False)) as server:
            yield server
        return
    if request.param == REAL_SERVER:
        server = _real_server(request)
    else:
        pki = request.getfixturevalue("pki")
        server = DevkitServer(tmp_path, pki, POLL, proxied=request.param == "devkit-nginx")
    try:
        yield server
    finally:
        server.close()
    if request.param in DEVKIT_SERVERS and can_be_compared(label) and request.node.stash.get(passed_key, False):
        changed = differences(label, server.kit)
        assert not changed, changed


def _is_recorded(request):
    """Scenarios that change the server for all others cannot be replayed alone."""
    return request.config.getoption("--record") and not request.node.get_closest_marker("alone")


def _whereabouts(config):
    if _is_worker(config):
        return Whereabouts(**config.workerinput[REAL_SERVER])
    return _site(config).whereabouts


def _real_server(request):
    if not _is_worker(request.config):
        site = _site(request.config)
        return HawkbitServer(site.whereabouts, site)
    if request.node.get_closest_marker("alone"):
        pytest.fail("this scenario changes the server for all: run it without -n", pytrace=False)
    return HawkbitServer(_whereabouts(request.config), None)


@pytest.fixture(name="label")
def fixture_label(request):
    """A name that only this scenario uses."""
    name = re.sub(r"-(devkit(-nginx)?|hawkbit)(?=\])|(devkit(-nginx)?|hawkbit)-?", "", request.node.name)
    return re.sub(r"[^a-z0-9]+", "-", name.removeprefix("test_").lower()).strip("-")


@pytest.fixture(name="make_home")
def fixture_make_home(tmp_path, server, label):
    """For scenarios with several gateways, or with a given device id: make_home(device="00:11:22")."""
    numbers = itertools.count(1)
    with contextlib.ExitStack() as homes:
        def make(device=None):
            number = next(numbers)
            directory = tmp_path / f"home-{number}"
            directory.mkdir()
            home = Home(directory, server, device or (label if number == 1 else f"{label}-{number}"), label)
            homes.callback(home.close)
            return home
        yield make


@pytest.fixture(name="home")
def fixture_home(make_home):
    return make_home()


@pytest.fixture(name="link")
def fixture_link(home):
    """The line between the home and the server, or the proxy in front of it; a daemon started later uses it."""
    access = home.access
    port = int(access.address.rpartition(":")[2])
    with Link(Tls(*access.server), Peer(port, access.ca, access.certificate, access.key)) as link:
        home.access = dataclasses.replace(access, address=link.address)
        yield link


@pytest.fixture(name="unproxied")
def fixture_unproxied(server):
    """The address of the server without its proxy: TLS is its own, or ends in a link that demands no certificate."""
    if server.plain_port is None:
        yield server.access.address
        return
    with Link(Tls(*server.access.server), Peer(server.plain_port)) as link:
        yield link.address
