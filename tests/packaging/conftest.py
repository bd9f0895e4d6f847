# SPDX-License-Identifier: Apache-2.0
"""Fixtures of the package's tests, which run with each shell that a gateway may have."""
import shutil

import pytest

from package_bench import Gateway


@pytest.fixture(name="shell", params=["dash", "busybox ash"])
def fixture_shell(request):
    command = request.param.split()
    if not shutil.which(command[0]):
        pytest.skip(f"{command[0]} is not installed")
    return command


@pytest.fixture(name="gateway")
def fixture_gateway(tmp_path, shell):
    return Gateway(tmp_path / "root", shell)
