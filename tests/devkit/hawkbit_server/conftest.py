"""Makes the development kit importable and offers what the tests of the update server share."""

from __future__ import annotations

import sys
from collections.abc import Iterator
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "devkit"))

from throwaway_device import Device

from hawkbit_server import UpdateServer
from pki import Pki


@pytest.fixture
def server() -> Iterator[UpdateServer]:
    with UpdateServer() as running:
        yield running


@pytest.fixture
def device(server: UpdateServer) -> Iterator[Device]:
    client = Device(server, "gw-1")
    yield client
    client.connection.close()


@pytest.fixture(scope="session")
def pki(tmp_path_factory: pytest.TempPathFactory) -> Pki:
    return Pki(tmp_path_factory.mktemp("pki"), client_name="gw-1")
