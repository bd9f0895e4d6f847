"""Which server the scenarios run against: pytest --server devkit|devkit-nginx|hawkbit tests/acceptance.

`hawkbit` needs its jar in HAWKBIT_JAR; script/acceptance sees to that. Without the option the
scenarios run against the development kit's server, once alone and once behind nginx.
"""
import contextlib
import itertools
import re

import pytest
from devkit_driver import DevkitServer
from gateway_bench import DAEMON
from home import Home
from pki import Pki

# The shortest polling time at which a deployment still starts by itself is about 6 s.
POLL = "00:00:08"
DEVKIT_SERVERS = ("devkit", "devkit-nginx")


def pytest_addoption(parser):
    parser.addoption("--server", choices=(*DEVKIT_SERVERS, "hawkbit"), action="append",
                     help="against which server; may be given more than once")


def pytest_configure(config):
    config.addinivalue_line("markers", "alone: changes the server for all, so nothing else may run beside it")


def pytest_sessionstart(session):
    if not DAEMON.exists():
        pytest.exit(f"{DAEMON} is missing: run script/build, or set ZEPHRAN_BUILD_DIR", 2)


def pytest_generate_tests(metafunc):
    if "server" in metafunc.fixturenames:
        chosen = metafunc.config.getoption("--server") or DEVKIT_SERVERS
        metafunc.parametrize("server", chosen, indirect=True, scope="function")


@pytest.fixture(name="pki", scope="session")
def fixture_pki(tmp_path_factory):
    return Pki(tmp_path_factory.mktemp("pki"), client_name="gateways")


@pytest.fixture(name="server")
def fixture_server(request, tmp_path, pki):
    server = DevkitServer(tmp_path, pki, POLL, proxied=request.param == "devkit-nginx")
    try:
        yield server
    finally:
        server.close()


@pytest.fixture(name="label")
def fixture_label(request):
    """A word that belongs to this scenario alone."""
    name = re.sub(r"-(devkit(-nginx)?|hawkbit)(?=\])|(devkit(-nginx)?|hawkbit)-?", "", request.node.name)
    return re.sub(r"[^a-z0-9]+", "-", name.removeprefix("test_").lower()).strip("-")


@pytest.fixture(name="make_home")
def fixture_make_home(tmp_path, server, label):
    """For scenarios of several gateways, or of one with a name of its own: make_home(device="00:11:22")."""
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
