# SPDX-License-Identifier: Apache-2.0
"""A gateway and an adapter behind it are deployed to at the same time, by one process in one /tmp."""
import pytest

from bench import DEVICE
from hawkbit_server import Status
from powerline_network import NEW, OLD, SERIAL, PowerlineNetwork, count

WAITING = "message=waiting for another deployment with the same file name"


@pytest.fixture(name="network")
def fixture_network(bench):
    return PowerlineNetwork(bench)


@pytest.fixture(name="adapter")
def fixture_adapter(network):
    return network.add_with_serial()


def script(bench, name, file, text="true"):
    content = f"#!/bin/sh\necho {name} >>/etc/installed/ran\n{text}\n"
    return bench.module("script", name, "1.0", {file: content.encode()})


def deploy_to_both(bench, network, own):
    """Assigns scripts to the gateway and new firmware to the adapter; returns their ended actions and the daemon."""
    daemon = network.start()
    network.wait_for_agents(DEVICE, SERIAL)
    bench.wait_until(lambda: all(bench.server.exchanges("configData", target) for target in (DEVICE, SERIAL)),
                     "the attributes of both")
    actions = bench.assign(*own), bench.server.assign(SERIAL, [network.image(NEW)])
    network.control.force_poll()
    for action in actions:
        bench.wait_for_end(action)
    bench.wait_until(lambda: not bench.gateway.leftovers(), "the deletion of the files")
    return *actions, daemon


def ran(bench):
    return bench.gateway.installed_files["ran"].decode().split()


def times(bench, kind, target):
    """When the requests of a kind arrived for a target."""
    return [each.arrived for each in bench.server.exchanges(kind, target)]


def assert_side_by_side(bench):
    """Asserts that each deployment began before the other one's end."""
    reports = [times(bench, "feedback", target) for target in (DEVICE, SERIAL)]
    assert max(each[0] for each in reports) < min(each[-1] for each in reports)


@pytest.mark.differs("adapter-ids", "chunk-order")
def test_both_complete(bench, network, adapter):
    own = [script(bench, name, f"{name}.sh") for name in ("one", "two", "three")]

    gateway_action, adapter_action, daemon = deploy_to_both(bench, network, own)

    assert [gateway_action.status, adapter_action.status] == [Status.FINISHED, Status.FINISHED]
    assert ran(bench) == ["one", "two", "three"]
    assert adapter.firmware == NEW
    assert WAITING not in daemon.log
    assert_side_by_side(bench)


@pytest.mark.differs("adapter-ids", "chunk-order")
@pytest.mark.differs("download-directory")
def test_one_waits_for_the_end_of_the_other_that_has_one_of_its_file_names(bench, network, adapter):
    own = [script(bench, "one", "one.sh"), script(bench, "two", "two.sh"), script(bench, "three", "plc.bin")]

    gateway_action, adapter_action, daemon = deploy_to_both(bench, network, own)

    assert [gateway_action.status, adapter_action.status] == [Status.FINISHED, Status.FINISHED]
    assert ran(bench) == ["one", "two", "three"]
    assert adapter.firmware == NEW
    assert count(WAITING, daemon) == 1
    first, second = sorted((DEVICE, SERIAL), key=lambda target: times(bench, "artifact", target)[0])
    assert times(bench, "deploymentBase", second)[0] < times(bench, "feedback", first)[-1]
    assert times(bench, "artifact", second)[0] > times(bench, "feedback", first)[-1]


@pytest.mark.differs("adapter-ids", "chunk-order")
def test_failure_of_the_gateway_leaves_the_adapter_alone(bench, network, adapter):
    own = [script(bench, "one", "one.sh"), script(bench, "two", "two.sh", "exit 1"),
           script(bench, "three", "three.sh")]

    gateway_action, adapter_action, _ = deploy_to_both(bench, network, own)

    assert [gateway_action.status, adapter_action.status] == [Status.ERROR, Status.FINISHED]
    assert ran(bench) == ["one", "two"]
    assert adapter.firmware == NEW
    assert_side_by_side(bench)


@pytest.mark.differs("adapter-ids", "chunk-order")
def test_failure_of_the_adapter_leaves_the_gateway_alone(bench, network, adapter):
    own = [script(bench, name, f"{name}.sh") for name in ("one", "two", "three")]
    adapter.keep_firmware_at_reset()

    gateway_action, adapter_action, _ = deploy_to_both(bench, network, own)

    assert [gateway_action.status, adapter_action.status] == [Status.FINISHED, Status.ERROR]
    assert ran(bench) == ["one", "two", "three"]
    assert adapter.firmware == OLD
    assert_side_by_side(bench)
