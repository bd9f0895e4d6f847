# SPDX-License-Identifier: Apache-2.0
"""Which events make the daemon poll immediately."""
import json
import os

import pytest

FORCE_POLL = ["-t", "5", "call", "zephran", "force_poll", "{}"]

# Tells the state of network interfaces. Calls of the daemon wait for the gate if there is one, so that
# a test can see who waits for whom.
UBUS = """#!/bin/sh
case $4 in
	network.interface.*) exec cat '{root}/'"$4" ;;
esac
echo noise
echo noise >&2
[ ! -e '{root}/gate' ] || cat '{root}/gate'
printf '%s\\0' $# "$@" >>'{root}/calls'
exit {status}
"""

STRATUM = {"ACTION": "stratum"}
LATER_TIME_EVENTS = ["stratum", "step", "periodic"]
WAN_UP = {"ACTION": "ifup", "INTERFACE": "wan"}
NEIGHBOURS = {"target": "192.0.2.0", "mask": 24, "nexthop": "0.0.0.0"}
DEFAULT_ROUTE = {"target": "0.0.0.0", "mask": 0, "nexthop": "192.0.2.1"}
DEFAULT_ROUTE_6 = {"target": "::", "mask": 0, "nexthop": "fe80::1"}
EVENTS = pytest.mark.parametrize("script, event", [
    ("zephran.ntp", STRATUM), ("zephran.iface", WAN_UP)])


@pytest.fixture(name="hotplug")
def fixture_hotplug(gateway):
    return Hotplug(gateway)


class Hotplug:
    def __init__(self, gateway):
        self.gateway = gateway
        gateway.configure({"enabled": "1"})
        gateway.place("zephran.poll", "libexec")
        self.ubus_exits_with(0)
        self.interface("wan", NEIGHBOURS, DEFAULT_ROUTE)

    def interface(self, name, *routes, **others):
        """What the network's daemon says of an interface."""
        state = {"up": True, "route": routes, **others}
        (self.gateway.root / f"network.interface.{name}").write_text(json.dumps(state))

    def ubus_exits_with(self, status):
        self.gateway.command("ubus", UBUS.format(root=self.gateway.root, status=status))

    def event(self, script, variables):
        exit_status, wait = self.gateway.source(script, **variables)
        assert exit_status == 0
        wait()

    def calls(self):
        calls = self.gateway.root / "calls"
        fields = iter(calls.read_text().split("\0")[:-1] if calls.exists() else [])
        return [[next(fields) for _ in range(int(count))] for count in fields]

    def mark_reboot(self):
        self.rebooted.touch()

    @property
    def rebooted(self):
        return self.gateway.root / "run/zephran.rebooted"


@EVENTS
def test_event_causes_one_poll(hotplug, script, event):
    hotplug.event(script, event)

    assert hotplug.calls() == [FORCE_POLL]


@pytest.mark.parametrize("script, event", [
    ("zephran.ntp", {"ACTION": "step"}), ("zephran.ntp", {"ACTION": "periodic"}),
    ("zephran.ntp", {"ACTION": "unsync"}), ("zephran.ntp", {}),
    ("zephran.iface", {"ACTION": "ifdown", "INTERFACE": "wan"}),
    ("zephran.iface", {"ACTION": "ifupdate", "INTERFACE": "wan"}),
    ("zephran.iface", {"ACTION": "ifup"}), ("zephran.iface", {})])
def test_other_events_do_nothing(hotplug, script, event):
    hotplug.event(script, event)

    assert hotplug.calls() == []


@pytest.mark.parametrize("name, route", [
    ("wan6", DEFAULT_ROUTE_6), ("wwan", DEFAULT_ROUTE), ("lan", DEFAULT_ROUTE)])
def test_interface_with_a_default_route_is_an_uplink_whatever_its_name(hotplug, name, route):
    hotplug.interface(name, NEIGHBOURS, route)

    hotplug.event("zephran.iface", {"ACTION": "ifup", "INTERFACE": name})

    assert hotplug.calls() == [FORCE_POLL]


@pytest.mark.parametrize("routes, others", [
    ([], {}), ([NEIGHBOURS], {}), ([], {"inactive": {"route": [DEFAULT_ROUTE]}})])
def test_interface_without_a_default_route_is_no_uplink(hotplug, routes, others):
    hotplug.interface("wan", *routes, **others)

    hotplug.event("zephran.iface", WAN_UP)

    assert hotplug.calls() == []


def test_interface_that_the_network_does_not_know_is_no_uplink(hotplug):
    hotplug.event("zephran.iface", {"ACTION": "ifup", "INTERFACE": "wandering"})

    assert hotplug.calls() == []


def test_other_time_events_do_not_count_as_the_first_one(hotplug):
    hotplug.event("zephran.ntp", {"ACTION": "step"})
    hotplug.event("zephran.ntp", STRATUM)

    assert hotplug.calls() == [FORCE_POLL]


def test_time_event_counts_once_per_boot(hotplug):
    for _ in range(3):
        hotplug.event("zephran.ntp", STRATUM)
    assert hotplug.calls() == [FORCE_POLL]

    (hotplug.gateway.root / "run").rename(hotplug.gateway.root / "run of the last boot")
    (hotplug.gateway.root / "run").mkdir()
    hotplug.event("zephran.ntp", STRATUM)

    assert hotplug.calls() == [FORCE_POLL, FORCE_POLL]


def test_uplink_event_counts_each_time(hotplug):
    hotplug.event("zephran.iface", WAN_UP)
    hotplug.event("zephran.iface", WAN_UP)

    assert hotplug.calls() == [FORCE_POLL, FORCE_POLL]


@EVENTS
@pytest.mark.parametrize("status", [4, 7, 255])
def test_missing_daemon_or_bus_does_no_harm(hotplug, script, event, status):
    hotplug.ubus_exits_with(status)

    hotplug.event(script, event)

    assert hotplug.calls() == [FORCE_POLL]


@EVENTS
def test_missing_ubus_command_does_no_harm(hotplug, script, event):
    (hotplug.gateway.root / "bin/ubus").unlink()

    hotplug.event(script, event)

    assert hotplug.calls() == []


@EVENTS
def test_other_hotplug_scripts_do_not_wait_for_the_answer(hotplug, script, event):
    gate = hotplug.gateway.root / "gate"
    os.mkfifo(gate)

    exit_status, wait = hotplug.gateway.source(script, **event)

    assert exit_status == 0
    assert hotplug.calls() == []
    with gate.open("w", encoding="utf-8"):
        pass
    wait()
    assert hotplug.calls() == [FORCE_POLL]


@EVENTS
@pytest.mark.parametrize("dormant", ["1", "on", "true", "yes", "enabled"])
def test_dormant_daemon_is_left_alone(hotplug, script, event, dormant):
    hotplug.gateway.configure({"dormant": dormant})

    hotplug.event(script, event)

    assert hotplug.calls() == []


@EVENTS
@pytest.mark.parametrize("dormant", ["0", "off", "false", "no", "disabled"])
def test_daemon_that_is_not_dormant_polls(hotplug, script, event, dormant):
    hotplug.gateway.configure({"dormant": dormant})

    hotplug.event(script, event)

    assert hotplug.calls() == [FORCE_POLL]


@EVENTS
def test_dormant_daemon_polls_after_an_installers_reboot(hotplug, script, event):
    hotplug.gateway.configure({"dormant": "1"})
    hotplug.mark_reboot()

    hotplug.event(script, event)

    assert hotplug.calls() == [FORCE_POLL]


@pytest.mark.parametrize("event", LATER_TIME_EVENTS)
def test_reboot_mark_stays_until_the_poll_was_delivered(hotplug, event):
    hotplug.gateway.configure({"dormant": "1"})
    hotplug.mark_reboot()

    hotplug.ubus_exits_with(4)
    hotplug.event("zephran.ntp", STRATUM)
    assert hotplug.rebooted.exists()
    hotplug.event("zephran.ntp", {"ACTION": event})
    assert hotplug.rebooted.exists()
    hotplug.ubus_exits_with(0)
    hotplug.event("zephran.ntp", {"ACTION": event})
    assert not hotplug.rebooted.exists()
    hotplug.event("zephran.ntp", {"ACTION": event})

    assert hotplug.calls() == [FORCE_POLL] * 3


def test_loss_of_the_time_delivers_nothing(hotplug):
    hotplug.gateway.configure({"dormant": "1"})
    hotplug.mark_reboot()

    hotplug.event("zephran.ntp", {"ACTION": "unsync"})

    assert hotplug.calls() == []
    assert hotplug.rebooted.exists()


def test_reboot_mark_stays_until_network_and_time_are_there(hotplug):
    hotplug.gateway.configure({"dormant": "1"})
    hotplug.mark_reboot()

    hotplug.event("zephran.iface", WAN_UP)
    assert hotplug.rebooted.exists()
    hotplug.event("zephran.ntp", STRATUM)
    assert not hotplug.rebooted.exists()
    hotplug.event("zephran.iface", WAN_UP)

    assert hotplug.calls() == [FORCE_POLL, FORCE_POLL]
