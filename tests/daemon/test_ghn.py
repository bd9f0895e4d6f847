# SPDX-License-Identifier: Apache-2.0
"""Discovery of the adapters on the powerline network."""
import re
import signal
import time

import pytest

from bench import DEVICE
from hawkbit_server import Code, Status
from local_control import RARE, CallLoop
from powerline_network import CONTROLLER, NEW, OLD, SERIAL, WITH_SERIAL, WITHOUT_SERIAL, PowerlineNetwork, count
from processes import process_directory

STARTING = r"INFO \S+ discover_once: action=discover_once message=starting discovery"
PENDING = "action=pending discover status=1"
COLLECTED = "action=pending discover status=0"
DISABLED = r"WARNING \S+ discover_once: message=Invalid G.hn configuration, disabling discovery"
MANY = 100
# Seconds that an end may take beside a tool that hangs; generous for builds with sanitizers.
PATIENCE = 60


def found(mac):
    return rf"INFO \S+ discover_once: event=ghn_device_found mac={mac}"


def ignored(mac):
    return rf"INFO \S+ discover_once: event=ghn_ignoring_device mac={mac}"


def lost(mac):
    return rf"WARNING \S+ discover_once: event=ghn_lost mac={mac}"


@pytest.fixture(name="bench")
def fixture_bench(make_bench):
    return make_bench(poll=RARE)


@pytest.fixture(name="network")
def fixture_network(bench):
    return PowerlineNetwork(bench)


def wait_for_passes(daemon, count_of_passes):
    """Waits for the end of this many more passes."""
    start = len(daemon.output.lines)
    for _ in range(count_of_passes):
        daemon.wait_for_line(COLLECTED, start=start)
        start = next(number for number, line in enumerate(daemon.output.lines)
                     if number >= start and COLLECTED in line.text) + 1


@pytest.mark.differs("adapter-ids")
def test_adapters_become_targets_of_their_own(bench, network):
    network.add_with_serial()
    network.add_without_serial()
    daemon = network.start()

    agents = network.wait_for_agents(DEVICE, SERIAL, WITHOUT_SERIAL)
    bench.wait_for_exchanges("configData", 3)
    sent = {each.target: each.json()["data"] for each in bench.exchanges("configData")}

    common = {"device_type": "ghn", "hw_product": "PLC-500", "hw_revision": "2",
              "product_class": "GHN", "firmware_version": OLD, "parent": DEVICE}
    assert sent[SERIAL] == agents[SERIAL] == {**common, "device_name": "living room"}
    assert sent[WITHOUT_SERIAL] == agents[WITHOUT_SERIAL] == {**common, "device_name": "attic"}
    assert "parent" not in agents[DEVICE]
    for mac in (WITH_SERIAL, WITHOUT_SERIAL):
        assert count(found(mac), daemon) == 1
    assert count(found(CONTROLLER), daemon) == count(ignored(CONTROLLER), daemon) == 0


@pytest.mark.differs("adapter-ids")
def test_lost_adapter_keeps_its_agent_only_with_a_serial_number(network):
    leaving = [network.add_with_serial(), network.add_without_serial()]
    daemon = network.start()
    network.wait_for_agents(DEVICE, SERIAL, WITHOUT_SERIAL)

    for adapter in leaving:
        adapter.unplug()
    network.wait_for_agents(DEVICE, SERIAL)
    losses = [count(lost(adapter.mac), daemon) for adapter in leaving]
    for adapter in leaving:
        adapter.plug_in()
    network.wait_for_agents(DEVICE, SERIAL, WITHOUT_SERIAL)

    assert losses == [1, 1]
    assert [count(found(adapter.mac), daemon) for adapter in leaving] == [2, 2]
    assert [count(lost(adapter.mac), daemon) for adapter in leaving] == [1, 1]


@pytest.mark.differs("adapter-ids")
def test_modem_that_is_no_adapter_is_ignored_in_every_pass(network):
    stranger, silent = network.add_with_serial(), network.add_without_serial()
    stranger.forget()
    silent.fall_silent()
    daemon = network.start()

    wait_for_passes(daemon, 2)
    after_two = [count(ignored(modem.mac), daemon) for modem in (stranger, silent)]
    agents = network.agents()
    silent.plug_in()
    network.wait_for_agents(DEVICE, WITHOUT_SERIAL)

    assert after_two == [2, 2]
    assert list(agents) == [DEVICE]
    assert count(ignored(stranger.mac), daemon) == 3
    assert count(found(silent.mac), daemon) == 1


@pytest.mark.differs("adapter-ids")
def test_adapter_that_stops_answering_is_lost(network):
    adapter = network.add_without_serial()
    daemon = network.start()
    network.wait_for_agents(DEVICE, WITHOUT_SERIAL)

    adapter.fall_silent()
    network.wait_for_agents(DEVICE)

    assert count(lost(adapter.mac), daemon) == 1


def malformed_list(_, network):
    network.line.report_macs(f"{CONTROLLER},no-address")


def no_tool(bench, _):
    bench.gateway.take_away("configlayer")


def wrong_password(_, network):
    network.line.configure(password="wrong")


def unknown_list(bench, _):
    bench.gateway.tool("configlayer", "#!/bin/sh\necho no such thing\n")


@pytest.mark.differs("failed-passes")
@pytest.mark.parametrize("break_it, reasons", [
    (malformed_list, ["mac"]),
    (no_tool, ["configlayer returned an error", "127"]),
    (wrong_password, ["configlayer returned an error", "3"]),
    (unknown_list, ["configlayer returned data in an unknown format", "no such thing"]),
])
def test_failed_pass_ends_the_daemon_and_logs_the_reason(bench, network, break_it, reasons):
    break_it(bench, network)
    daemon = network.start()

    assert daemon.wait() == 1
    error = re.search(r"ERROR \S+ main: event=exception_caught action=main what=((.|\n)*)", daemon.err)
    assert error
    for reason in reasons:
        assert re.search(rf"\b{reason}\b", error.group(1))
    assert network.line.password not in daemon.err


@pytest.mark.differs("adapter-ids")
def test_adapter_that_falls_silent_while_it_is_asked_is_left_out_until_the_next_pass(bench, network):
    adapter = network.add_with_serial()
    # once, after the list and the query of its type
    bench.gateway.tell("configlayer", exit=1, first=3)
    daemon = network.start()

    network.wait_for_agents(DEVICE, SERIAL)

    assert daemon.is_running()
    left_out = f"WARNING .*event=ghn_leaving_out_device mac={adapter.mac} what=configlayer returned an error$"
    assert count(left_out, daemon) == 1


@pytest.mark.parametrize("missing", ["interface", "password", "controller"])
def test_incomplete_configuration_disables_discovery_after_one_warning(bench, network, missing):
    network.add_with_serial()
    network.line.configure(**{missing: ""})
    daemon = network.start()
    wait_for_passes(daemon, 1)
    network.line.configure()

    wait_for_passes(daemon, 1)

    assert count(DISABLED, daemon) == 1
    assert count(STARTING, daemon) == 0
    assert bench.gateway.calls("configlayer") == []
    assert daemon.is_running()


def test_without_the_option_nothing_is_discovered(bench, network):
    network.add_with_serial()
    daemon = bench.start()
    daemon.wait_for_line("event=tick ")

    assert "enabling G.hn LAN discovery handler" not in daemon.log
    assert bench.gateway.calls("configlayer") == []


@pytest.fixture(name="hanging")
def fixture_hanging(bench, network):
    """A daemon that waits for a call of the tool that never ends."""
    network.line.controller.hang()
    daemon = network.start()
    bench.wait_until(lambda: network.line.controller.is_held, "the call that hangs")
    assert tool_runs(daemon)
    return daemon


def tool_runs(daemon):
    """Whether the tool runs somewhere on the gateway."""
    processes = process_directory(daemon).parent
    return any(b"/configlayer" in command_line(process) for process in processes.glob("[0-9]*"))


def command_line(process):
    try:
        return (process / "cmdline").read_bytes()
    except OSError:
        return b""  # it has ended meanwhile


def end_within_patience(daemon):
    """The status of a daemon that is about to end."""
    start = time.monotonic()
    status = daemon.wait()
    assert time.monotonic() - start < PATIENCE
    return status


def test_hanging_tool_does_not_delay_the_main_loop(bench, network, hanging):
    network.control.force_poll()
    polls = len(bench.exchanges("base"))
    bench.wait_for_exchanges("base", polls + 1)

    assert count(PENDING, hanging) > 0


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_daemon_stops_although_the_tool_hangs(hanging, number):
    hanging.signal(number)

    assert end_within_patience(hanging) == 0
    assert not tool_runs(hanging)


@pytest.mark.differs("kept-reports")
def test_daemon_ends_after_a_failed_report_although_the_tool_hangs(bench, network, hanging):
    bench.server.order("feedback", Code(500))
    bench.assign(bench.script("one", "echo one"))
    network.control.force_poll()
    # The bench's own waiting fails when the daemon ends.
    bench.server.wait_for(lambda: bench.exchanges("feedback"), 60, "the failed report")

    assert end_within_patience(hanging) == 1
    assert re.search("ERROR .*event=exception_caught action=main", hanging.err)
    assert not tool_runs(hanging)


def test_abandoned_daemon_takes_the_hanging_tool_along(bench, network):
    network.line.controller.hang()
    daemon = bench.start_without_server("--ghn-agents")
    bench.wait_until(lambda: network.line.controller.is_held, "the call that hangs")

    daemon.signal(signal.SIGTERM)

    assert daemon.wait() == 1
    assert "forcing exit" in daemon.err
    assert not tool_runs(daemon)


@pytest.mark.differs("adapter-ids")
def test_discovery_updates_and_local_control_work_side_by_side(bench, network):
    leaving = network.add_without_serial()
    adapter = network.add_with_serial()
    calls = CallLoop(bench, "agents", "call get_agents\ncall get_deployment\ncall accept_deployment")
    on_gateway = bench.assign(bench.script("one", "echo one"), bench.script("two", "echo two"))
    on_adapter = bench.server.assign(SERIAL, [network.image(NEW)])
    daemon = network.start()
    network.wait_for_agents(DEVICE, SERIAL, WITHOUT_SERIAL)

    leaving.unplug()
    bench.wait_for_end(on_gateway)
    bench.wait_for_end(on_adapter)
    network.wait_for_agents(DEVICE, SERIAL)
    replies = calls.stop()

    assert on_gateway.status is on_adapter.status is Status.FINISHED
    assert adapter.firmware == NEW
    assert any('"agents"' in reply and SERIAL in reply for reply in replies)
    assert daemon.terminate() == 0


@pytest.mark.differs("adapter-ids")
def test_network_of_a_hundred_adapters(bench, network):
    adapters = [network.line.add(f"02:00:00:00:01:{number:02x}", serial=f"SN-{number}")
                for number in range(MANY)]
    adapters[MANY // 2].hang()
    daemon = network.start()
    bench.wait_until(lambda: adapters[MANY // 2].is_held, "half of the pass")

    start = len(daemon.output.lines)
    for _ in range(3):
        daemon.wait_for_line(f"tick: {PENDING}", start=start)
        daemon.wait_for_line("event=tick ", start=len(daemon.output.lines))
        start = len(daemon.output.lines)
    polls = len(bench.exchanges("base"))
    network.control.force_poll()
    bench.wait_for_exchanges("base", polls + 1)
    agents_during_the_pass = network.agents()
    adapters[MANY // 2].release()
    agents = network.wait_for_agents(DEVICE, *(f"SN-{number}" for number in range(MANY)))

    assert list(agents_during_the_pass) == [DEVICE]
    assert all(agents[f"SN-{number}"]["parent"] == DEVICE for number in range(MANY))
    assert [len(network.calls(each.mac)) for each in adapters] == [8] * MANY
