# SPDX-License-Identifier: Apache-2.0
"""What the tests of the broker and of its command line share."""
import pytest

from bus_bench import Bus, method
from openwrt.bus.wire import STRING

POLL = method("poll", agent_id=STRING) + method("fail")


@pytest.fixture(name="bus")
def fixture_bus():
    with Bus() as bus:
        bus.start()
        yield bus


@pytest.fixture(name="no_broker")
def fixture_no_broker():
    with Bus() as bus:
        yield bus


@pytest.fixture(name="owner")
def fixture_owner(bus):
    owner = bus.client()
    owner.demo = owner.add("demo", POLL)
    return owner
