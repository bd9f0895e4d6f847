# SPDX-License-Identifier: Apache-2.0
"""New firmware for modems on the powerline network."""
import pytest

from bench import DEVICE
from hawkbit_server import Status
from powerline_network import CONTROLLER, NEW, OLD, SERIAL, WITH_SERIAL, PowerlineNetwork, count

VERSION = "SYSTEM.GENERAL.FW_VERSION"
CHUNK = f"plc_ghn:adapter-firmware:{NEW}"


@pytest.fixture(name="network")
def fixture_network(bench):
    return PowerlineNetwork(bench)


@pytest.fixture(name="adapter")
def fixture_adapter(network):
    return network.add_with_serial()


def command_lines_of_an_update(mac, file="/tmp/plc.bin"):
    to_modem = f"configlayer -i br-lan -w lan-secret -m {mac}"
    return [
        f"{to_modem} -o GET -p {VERSION}",
        f"{to_modem} -o SET -p FLUPGRADE.GENERAL.SOURCE=L2 -p FLUPGRADE.GENERAL.SECTION=OSUP "
        "-p FLUPGRADE.GENERAL.START=YES",
        f"l2fwserver {file} br-lan -m {mac}",
        f"{to_modem} -o GET -p FLUPGRADE.GENERAL.STATUS -p FLUPGRADE.GENERAL.LAST_UPGRADE_INFO",
        f"{to_modem} -o SET -p SYSTEM.GENERAL.HW_RESET=1",
        f"{to_modem} -t 5000 -r 15 -o GET -p {VERSION}",
    ]


def command_lines_of_a_pass(network, mac):
    """The calls that query a newly found modem."""
    kind = "DHCP.GENERAL.ENABLED_IPV4"
    production = ("PRODUCT_CLASS", "DEVICE_NAME", "HW_REVISION", "HW_PRODUCT")
    return [network.get(mac, name) for name in (
        kind, *(f"SYSTEM.PRODUCTION.{name}" for name in production), VERSION,
        "SYSTEM.PRODUCTION.SERIAL_NUMBER", kind)]


@pytest.mark.differs("adapter-ids", "secrets", "download-directory")
def test_adapter_gets_new_firmware(bench, network, adapter):
    action = bench.server.assign(SERIAL, [network.image(NEW)])
    daemon = network.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert adapter.firmware == NEW
    # Later passes only check whether it is still there.
    calls = network.calls(WITH_SERIAL)
    found, updated, later = calls[:8], calls[8:14], calls[14:]
    assert found == command_lines_of_a_pass(network, WITH_SERIAL)
    assert updated == command_lines_of_an_update(WITH_SERIAL)
    assert set(later) <= {network.get(WITH_SERIAL, "DHCP.GENERAL.ENABLED_IPV4")}
    daemon.wait_for_line("event=start_installation ghn_interface=br-lan ghn_password=lan-secret "
                         f"ghn_mac={WITH_SERIAL}$")
    daemon.wait_for_line(f"event=installation_finished installer=plc_ghn new_version={NEW}$")
    assert network.line.controller.firmware != NEW
    assert bench.server.exchanges("feedback", DEVICE) == []
    assert bench.gateway.leftovers() == []


@pytest.mark.differs("adapter-ids")
def test_adapters_with_one_file_name_get_their_own_firmware(bench, network, adapter):
    other, newer = network.add_without_serial(), "2.0.2"
    actions = [bench.server.assign(SERIAL, [network.image(NEW)]),
               bench.server.assign(other.mac, [network.image(newer)])]
    network.start()

    for action in actions:
        bench.wait_for_end(action)

    assert [action.status for action in actions] == [Status.FINISHED, Status.FINISHED]
    assert (adapter.firmware, other.firmware) == (NEW, newer)
    assert len(bench.gateway.calls("l2fwserver")) == 2
    assert bench.gateway.leftovers() == []


@pytest.mark.differs("adapter-ids")
@pytest.mark.parametrize("mishap, message, record", [
    ("keep_firmware_at_reset", "Expected version does not match the version that was found", OLD),
    ("vanish_at_reset", "Device did not return after reset", ""),
    ("vanish_while_pushed", "External program returned an error", "1"),
])
def test_failed_update_is_reported(bench, network, adapter, mishap, message, record):
    getattr(adapter, mishap)()
    action = bench.server.assign(SERIAL, [network.image(NEW)])
    daemon = network.start()

    bench.wait_for_end(action)

    details = network.reports(SERIAL)[-1]
    assert action.status is Status.ERROR
    assert details[0] == message
    assert record in details[1]
    assert details[2] == CHUNK
    assert adapter.firmware == OLD
    assert network.line.password not in str(network.reports(SERIAL))
    bench.wait_until(lambda: bench.gateway.leftovers() == [], "the deletion of the image")
    assert daemon.is_running()


@pytest.mark.differs("adapter-ids")
def test_installed_firmware_is_not_pushed_again(bench, network, adapter):
    action = bench.server.assign(SERIAL, [network.image("2.3")])
    adapter.set(VERSION, "1.2.3-r4")
    network.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert any("Version 2.3 is already installed\n"
               "Reported version by G.hn controller: 1.2.3-r4\n" in details
               for details in network.reports(SERIAL))
    assert not [call for call in bench.gateway.calls() if "-o SET" in call]
    assert bench.gateway.calls("l2fwserver") == []


@pytest.mark.differs("adapter-ids")
@pytest.mark.parametrize("part", ["script", "os"])
def test_adapter_accepts_only_its_firmware(bench, network, adapter, part):
    module = bench.server.software_module(part, "one", "1.0", {"one.sh": b"#!/bin/sh\ntouch /tmp/ran\n"})
    action = bench.server.assign(SERIAL, [module])
    network.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert network.reports(SERIAL)[-1][0] == "Unsupported part in deployment"
    assert network.reports(SERIAL)[-1][2] == f"{part}:one:1.0"
    assert not (bench.gateway.tmp / "ran").exists()
    assert bench.gateway.calls("sysupgrade") == []


@pytest.mark.differs("download-directory")
def test_gateways_own_modem_gets_new_firmware_without_discovery(bench, network):
    network.line.configure(password="not this one")
    network.line.configure_own_password(network.line.password)
    action = bench.assign(network.image(NEW))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert network.line.controller.firmware == NEW
    assert bench.gateway.calls() == command_lines_of_an_update(CONTROLLER)


def test_gateway_without_a_modem_refuses_modem_firmware(bench, network):
    network.line.configure(controller="no address")
    action = bench.assign(network.image(NEW))
    daemon = bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert network.reports(DEVICE)[-1][0] == "No G.hn controller or configuration was found"
    assert bench.gateway.calls() == []
    assert count("message=not a MAC address key=nevra.baptization.LirnMacAddress value=no address",
                 daemon) == 1


@pytest.mark.differs("adapter-ids")
def test_update_during_which_the_adapter_loses_its_agent_is_completed_by_the_next_agent(bench, network):
    # A pass queries the modems in the order of their addresses, so this one blocks it.
    first = network.add_with_serial()
    adapter = network.add_without_serial()
    daemon = network.start()
    network.wait_for_agents(DEVICE, SERIAL, adapter.mac)
    first.hang()
    bench.wait_until(lambda: first.is_held, "the second pass")
    bench.gateway.tell("l2fwserver", when="midway", hang=True)
    action = bench.server.assign(adapter.mac, [network.image(NEW)])
    bench.wait_until(lambda: bench.gateway.is_held("l2fwserver"), "half of the image")

    adapter.fall_silent()
    first.release()
    daemon.wait_for_line(f"event=ghn_lost mac={adapter.mac}$")
    adapter.plug_in()
    bench.gateway.release("l2fwserver")
    bench.wait_for_end(action)
    network.wait_for_agents(DEVICE, SERIAL, adapter.mac)

    assert action.status is Status.FINISHED
    assert not action.spoilt
    assert adapter.firmware == NEW
    assert len(bench.gateway.calls("l2fwserver")) == 1
    assert count(f"event=ghn_device_found mac={adapter.mac}", daemon) == 2
