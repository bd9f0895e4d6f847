# SPDX-License-Identifier: Apache-2.0
"""A broker that ends, restarts, or does not respond."""
import contextlib
import os
import re
import signal
import socket

import pytest

from bench import DEVICE
from hawkbit_server import Code, Status
from held_script import HeldScript
from local_control import SUCCESS, CallLoop
from processes import wake_ups
from raw_bus import bus_directory
from update_window import FINISHED, rests_in

LOST = r"WARNING \S+ \S+: event=ubus message=connection lost$"
RESTORED = r"INFO \S+ \S+: event=ubus message=connection restored$"
# The receiver thread wakes up ten times a second; twice as often is still not a busy loop.
MOST_WAKE_UPS = 20


@pytest.fixture(name="daemon")
def fixture_daemon(bench, control):
    daemon = bench.start()
    control.wait_until_served()
    rests_in(daemon, FINISHED)
    return daemon


def count(pattern, daemon):
    return len(re.findall(pattern, daemon.out, re.M))


def outage(control, daemon):
    """The broker crashes, and is restarted after the daemon has noticed."""
    start = len(daemon.output.lines)
    control.bus.kill()
    daemon.wait_for_line(LOST, start=start)
    control.bus.start()
    daemon.wait_for_line(RESTORED, start=start)


def test_daemon_without_a_broker_ends(bench):
    assert bench.gateway.outer_pid  # boots it, with its broker
    bench.gateway.bus.stop()

    daemon = bench.start()

    assert daemon.wait() == 1
    assert "Failed to connect to ubus" in daemon.err


def test_daemon_whose_broker_crashed_before_its_start_ends(bench):
    assert bench.gateway.outer_pid
    bench.gateway.bus.kill()

    daemon = bench.start()

    assert daemon.wait() == 1
    assert "Failed to connect to ubus" in daemon.err


@pytest.fixture(name="bench_with_mute_broker")
def fixture_bench_with_mute_broker(bench):
    """A gateway on which a mute broker has taken the place of the broker; also its listener."""
    assert bench.gateway.outer_pid
    bench.gateway.bus.kill()
    with mute_broker(bench) as listener:
        yield bench, listener


def test_daemon_whose_broker_stalls_at_its_start_ends(bench_with_mute_broker):
    daemon = bench_with_mute_broker[0].start()

    assert daemon.wait(60) == 1
    assert "Failed to connect to ubus" in daemon.err


def test_daemon_whose_broker_accepts_nobody_at_its_start_ends(bench_with_mute_broker):
    bench, listener = bench_with_mute_broker
    listener.listen(0)
    with bus_directory(bench) as directory, socket.socket(socket.AF_UNIX) as other:
        other.connect(f"{directory}/ubus.sock")  # the queue is full now
        daemon = bench.start()

        assert daemon.wait(60) == 1
    assert "Failed to connect to ubus" in daemon.err


def test_second_daemon_on_the_bus_ends_and_the_first_goes_on(bench, control, daemon):
    second = bench.start()
    status = second.wait()
    polls = len(bench.exchanges("base"))
    reply = control.force_poll()
    # The bench's own waiting watches the daemon that was started last.
    bench.server.wait_for(lambda: len(bench.exchanges("base")) > polls, 60, "another poll")

    assert status == 1
    assert "Failed to add object" in second.err
    assert "Invalid argument" in second.err
    assert reply == SUCCESS
    assert daemon.is_running()
    assert control.bus.objects() == ["zephran"]


def test_object_is_back_after_each_outage(control, daemon):
    for _ in range(3):
        outage(control, daemon)

        assert control.bus.objects() == ["zephran"]
        assert control.force_poll({"agent_id": DEVICE}) == SUCCESS

    assert count(LOST, daemon) == 3
    assert count(RESTORED, daemon) == 3
    assert daemon.is_running()


def test_outage_in_the_middle_of_calls(bench, control, daemon):
    calls = [CallLoop(bench, str(number), "ubus -S -t 1 call zephran get_agents 2>&1")
             for number in range(3)]

    for _ in range(2):
        start = len(calls[0].program.output.lines)
        calls[0].program.wait_for_line('"agents"', start=start)
        outage(control, daemon)
    lines = [line for each in calls for line in each.stop()]

    assert control.get_agents()["agents"][0]["id"] == DEVICE
    assert count(LOST, daemon) == count(RESTORED, daemon) == 2
    answers = [line for line in lines if line.startswith("{")]
    assert len(set(answers)) == 1
    # Calls may fail during the outage, but must not return anything wrong.
    failures = [line for line in lines if line not in answers]
    assert all(line.startswith(("Command failed: ", "Failed to connect to ubus"))
               for line in failures), failures


def test_deployment_continues_during_an_outage(bench, control, daemon):
    held = HeldScript(bench, "one")
    action = bench.assign(held.module, bench.script("two", "echo two"))
    held.wait_until_it_runs()

    outage(control, daemon)
    control.bus.kill()
    held.release()
    bench.wait_for_end(action)
    control.bus.start()
    control.wait_until_served()

    assert action.status is Status.FINISHED
    assert held.runs == 1
    assert count(LOST, daemon) == count(RESTORED, daemon) == 2


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_daemon_can_be_stopped_during_an_outage(control, daemon, number):
    control.bus.kill()
    daemon.wait_for_line(LOST)

    daemon.signal(number)

    assert daemon.wait() == 0
    assert count("run: action=run remaining_agents=", daemon) <= 2


@contextlib.contextmanager
def connected_to_a_mute_broker(bench, daemon):
    """Crashes the broker and has the daemon connect to a mute one."""
    bench.gateway.bus.kill()
    with mute_broker(bench) as listener:
        listener.settimeout(60)
        connection, _ = listener.accept()
        with connection:
            daemon.wait_for_line("event=tick ", start=len(daemon.output.lines))
            yield


@contextlib.contextmanager
def mute_broker(bench):
    """Accepts connections in place of the broker, but never answers."""
    with bus_directory(bench) as directory, socket.socket(socket.AF_UNIX) as listener:
        path = f"{directory}/ubus.sock"
        with contextlib.suppress(FileNotFoundError):
            os.unlink(path)
        listener.bind(path)
        listener.listen()
        yield listener


def test_daemon_can_be_stopped_while_a_new_broker_is_unresponsive(bench, daemon):
    with connected_to_a_mute_broker(bench, daemon):
        daemon.signal(signal.SIGTERM)

        assert daemon.wait(60) == 0


@pytest.mark.differs("kept-reports")
def test_daemon_ends_after_a_failed_report_while_a_new_broker_is_unresponsive(bench, daemon):
    with connected_to_a_mute_broker(bench, daemon):
        assert status_after_a_failed_report(bench, daemon) == 1


@pytest.mark.differs("kept-reports")
def test_daemon_ends_after_a_failed_report_while_the_broker_is_suspended(bench, control, daemon):
    control.bus.signal(signal.SIGSTOP)

    status = status_after_a_failed_report(bench, daemon)
    control.bus.signal(signal.SIGCONT)

    assert status == 1


def status_after_a_failed_report(bench, daemon):
    bench.server.order("feedback", Code(500))
    bench.assign(bench.script("one", "echo one"))
    # The bench's own waiting fails when the daemon ends.
    bench.server.wait_for(lambda: bench.exchanges("feedback"), 60, "the failed report")
    status = daemon.wait(60)
    assert "event=exception_caught action=main" in daemon.err
    return status


def test_daemon_finds_a_working_broker_after_an_unresponsive_one(bench, control, daemon):
    with connected_to_a_mute_broker(bench, daemon):
        pass
    control.bus.start()
    daemon.wait_for_line(RESTORED)

    assert control.force_poll() == SUCCESS
    assert count(LOST, daemon) == count(RESTORED, daemon) == 1


def test_suspended_broker_does_not_block_the_daemon(bench, control, daemon):
    control.bus.signal(signal.SIGSTOP)
    polls = len(bench.exchanges("base"))
    bench.wait_for_exchanges("base", polls + 2)
    most = max(wake_ups(daemon, 3))
    control.bus.signal(signal.SIGCONT)

    assert control.force_poll() == SUCCESS
    assert most < MOST_WAKE_UPS
    assert count(LOST, daemon) == 0


def test_daemon_can_be_stopped_while_the_broker_is_suspended(control, daemon):
    control.bus.signal(signal.SIGSTOP)

    daemon.signal(signal.SIGTERM)

    assert daemon.wait() == 0
    control.bus.signal(signal.SIGCONT)


def test_receiver_thread_sleeps_when_idle_and_during_an_outage(control, daemon):
    at_rest = wake_ups(daemon, 5)
    control.bus.kill()
    daemon.wait_for_line(LOST)
    without_a_broker = wake_ups(daemon, 5)
    control.bus.start()
    daemon.wait_for_line(RESTORED)
    afterwards = wake_ups(daemon, 5)

    for rates in (at_rest, without_a_broker, afterwards):
        # It must wake up, too, as that limits how long the daemon takes to stop.
        assert 5 < max(rates) < MOST_WAKE_UPS
