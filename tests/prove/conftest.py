# SPDX-License-Identifier: Apache-2.0
"""Fixtures of the tests of the judges."""
import pytest

from pki import Pki


@pytest.fixture(name="pki", scope="session")
def fixture_pki(tmp_path_factory):
    return Pki(tmp_path_factory.mktemp("pki"), client_name="gw-1")
