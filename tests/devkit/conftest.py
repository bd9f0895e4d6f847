# SPDX-License-Identifier: Apache-2.0
"""What the tests of the simulated gateway share."""
import pytest

from gateway import Gateway


@pytest.fixture(name="gateway")
def fixture_gateway(tmp_path):
    with Gateway(tmp_path / "gateway") as gateway:
        yield gateway
