# SPDX-License-Identifier: Apache-2.0
"""Stopping the daemon."""
import re
import signal

import pytest

from hawkbit_server import Status

FORCED = "action=run message=process was signaled but we didn't return, forcing exit"


def signal_lines(daemon):
    return re.findall(r"WARNING \S+ signal: action=signal message=received exit signal$",
                      daemon.out, re.M)


def is_at_rest(daemon):
    daemon.wait_for_line("event=tick .*from_state=12 to_state=12$")


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_idle_daemon_stops_with_status_0(bench, number):
    daemon = bench.start()
    is_at_rest(daemon)

    daemon.signal(number)

    assert daemon.wait() == 0
    assert len(signal_lines(daemon)) == 1
    assert re.search(r"INFO \S+ run: action=run remaining_agents=\d+$", daemon.out, re.M)
    assert re.search(r"WARNING \S+ abort_agents: event=abort_agents$", daemon.out, re.M)


def test_agent_that_cannot_finish_is_abandoned_with_status_1(bench):
    daemon = bench.start_without_server()
    daemon.wait_for_line("event=backoff")

    daemon.signal(signal.SIGTERM)

    assert daemon.wait() == 1
    assert re.search(rf"ERROR \S+ run: {re.escape(FORCED)}$", daemon.err, re.M)
    assert len(re.findall(r"run: action=run remaining_agents=1$", daemon.out, re.M)) == 10
    assert len(re.findall(r"abort_agents: event=abort_agents$", daemon.out, re.M)) == 11
    assert len(signal_lines(daemon)) == 1


def test_every_signal_is_logged_and_none_speeds_up_the_shutdown(bench):
    daemon = bench.start_without_server()
    daemon.wait_for_line("event=backoff")

    daemon.signal(signal.SIGTERM)
    daemon.wait_for_line("remaining_agents=1")
    daemon.signal(signal.SIGINT)

    assert daemon.wait() == 1
    assert len(signal_lines(daemon)) == 2
    assert len(re.findall(r"remaining_agents=1$", daemon.out, re.M)) == 10


def test_other_signals_keep_their_effect(bench):
    daemon = bench.start()
    is_at_rest(daemon)

    daemon.signal(signal.SIGHUP)

    assert daemon.wait() == -signal.SIGHUP


def test_broken_pipe_does_not_end_the_daemon(bench):
    daemon = bench.start()
    is_at_rest(daemon)

    daemon.signal(signal.SIGPIPE)
    daemon.wait_for_line("event=tick", start=len(daemon.output.lines))

    assert daemon.is_running()


def test_stopped_deployment_is_resumed_by_the_next_start(bench):
    action = bench.assign(bench.script("one", "echo one"), bench.script("two", "echo two"))
    daemon = bench.start()
    bench.wait_until(bench.reports, "the start of the first script")

    status = daemon.terminate()
    still_open = action.active
    bench.start()
    bench.wait_for_end(action)

    assert status == 0
    assert still_open
    assert bench.reports("cancelFeedback") == []
    assert action.status is Status.FINISHED
    assert bench.gateway.leftovers() == []
