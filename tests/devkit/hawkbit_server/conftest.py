# SPDX-License-Identifier: Apache-2.0
"""What the tests of the update server share."""

from __future__ import annotations

from collections.abc import Iterator

import pytest
from throwaway_device import SCRIPT, Device

from hawkbit_server import Action, UpdateServer
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


@pytest.fixture
def action(server: UpdateServer) -> Action:
    """Assigns a module with the file a.sh, whose content is SCRIPT, to gw-1."""
    module = server.software_module("script", "hello", "1.0", {"a.sh": SCRIPT})
    return server.assign("gw-1", [module])


@pytest.fixture(scope="session")
def pki(tmp_path_factory: pytest.TempPathFactory) -> Pki:
    return Pki(tmp_path_factory.mktemp("pki"), client_name="gw-1")
