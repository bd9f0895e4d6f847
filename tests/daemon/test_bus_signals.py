# SPDX-License-Identifier: Apache-2.0
"""Signals and shutdown of the daemon while it is on the bus, whose library changes signal handlers."""
import re
import signal

import pytest

from hawkbit_server import Status
from local_control import RARE, CallLoop
from processes import dispositions, process_directory
from update_window import FINISHED, WAITING_ON_USER, rests_in

OF_INTEREST = {signal.SIGINT, signal.SIGTERM, signal.SIGCHLD, signal.SIGPIPE}


@pytest.fixture(name="bench")
def fixture_bench(make_bench):
    return make_bench(poll=RARE)


def dispositions_of(daemon):
    caught, ignored = dispositions((process_directory(daemon) / "status").read_text())
    return caught & OF_INTEREST, ignored & OF_INTEREST


def test_bus_library_leaves_the_daemons_signal_dispositions_alone(bench, control):
    daemon = bench.start()
    control.wait_until_served()
    rests_in(daemon, FINISHED)

    at_first = dispositions_of(daemon)
    control.bus.kill()
    daemon.wait_for_line("message=connection lost$")
    control.bus.start()
    daemon.wait_for_line("message=connection restored$")
    after_an_outage = dispositions_of(daemon)

    assert at_first == after_an_outage == ({signal.SIGINT, signal.SIGTERM}, {signal.SIGPIPE})


def test_scripts_start_with_default_signal_dispositions(bench, control):
    action = bench.assign(bench.script("one", "cat /proc/self/status >/tmp/state-signals"))
    bench.start()
    bench.wait_for_end(action)

    caught, ignored = dispositions((bench.gateway.tmp / "state-signals").read_text())

    assert action.status is Status.FINISHED
    assert caught & OF_INTEREST == ignored & OF_INTEREST == set()


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_daemon_can_be_stopped_during_calls(bench, control, number):
    daemon = bench.start()
    control.wait_until_served()
    rests_in(daemon, FINISHED)
    calls = [CallLoop(bench, str(number), "ubus -S -t 2 call zephran get_agents 2>&1")
             for number in range(2)]
    calls[0].program.wait_for_line('"agents"')

    daemon.signal(number)
    status = daemon.wait()
    lines = [line for each in calls for line in each.stop()]

    assert status == 0
    assert control.bus.objects() == []
    assert len(re.findall(r"action=signal message=received exit signal$", daemon.out, re.M)) == 1
    # The agents disappear shortly before the object.
    assert {line for line in lines if line.startswith("{")} <= {
        '{"agents":[{"config":{"dormant":"0","installed_flash_type":""},"id":"gw-1"}]}',
        '{"agents":null}'}


def test_forced_exit_removes_the_object_from_the_bus_first(bench, control):
    bench.configure("service.automatic_update", "0")
    bench.assign(bench.script("one", "echo one"), type="soft")
    daemon = bench.start()
    rests_in(daemon, WAITING_ON_USER)
    calls = CallLoop(bench, "state", "ubus -S -t 2 call zephran get_deployment 2>&1")
    calls.program.wait_for_line('"action_id"')

    daemon.signal(signal.SIGTERM)
    status = daemon.wait()
    calls.stop()

    assert status == 1
    assert "message=process was signaled but we didn't return, forcing exit" in daemon.err
    assert control.bus.objects() == []
