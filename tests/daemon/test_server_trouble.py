# SPDX-License-Identifier: Apache-2.0
"""Server errors: back-off when a poll fails, one retry when anything else does."""
import itertools

import pytest

from hawkbit_server import Code, Drop, Mutate, Status, Text

FINISHED = 12
BACKOFF = 2


def rests(daemon, state):
    start = len(daemon.output.lines)
    daemon.wait_for_line(rf"event=tick .*from_state={state} to_state={state}$", start=start)


@pytest.mark.parametrize("fault", [
    Code(500), Code(429), Code(401), Drop(), Text("no json"), Text("[]"), Text(""),
    Text('{"config": 1}'), Text('{"config": {"polling": {"sleep": "soon"}}}'),
], ids=["500", "429", "401", "dropped", "no json", "array", "empty", "no config", "no time"])
def test_failed_poll_backs_off(bench, fault):
    bench.server.order("base", fault, times=None)
    daemon = bench.start()

    delay = daemon.wait_for_line(r"WARNING .*event=backoff delay=(\d+)h:(\d+)m:(\d+)s$")
    rests(daemon, BACKOFF)

    hours, minutes, seconds = map(int, delay.groups())
    assert (hours, minutes) < (0, 10)
    daemon.wait_for_line("ERROR .*event=exception_caught action=fsm_agent_event what=")
    polls = [each.kind for each in bench.server.exchanges()]
    # The delay is drawn. On a busy machine one of a few seconds may be over by now.
    is_surely_waiting = (minutes, seconds) >= (1, 0)
    assert polls == ["base"] if is_surely_waiting else set(polls) == {"base"}


def test_poll_follows_immediately_after_the_properties(bench):
    daemon = bench.start()

    bench.wait_for_exchanges("base", 2)
    rests(daemon, FINISHED)

    assert [each.kind for each in bench.exchanges()][:3] == ["base", "configData", "base"]


def test_server_sets_the_polling_time(bench):
    bench.start()

    polls = bench.wait_for_exchanges("base", 4)

    # The server's polling time is 8 s; a busy machine adds a few seconds at most.
    assert all(later.arrived - earlier.arrived >= 7
               for earlier, later in itertools.pairwise(polls[1:]))


@pytest.mark.parametrize("kind", ["configData", "deploymentBase"])
@pytest.mark.parametrize("fault", [Code(503), Drop()], ids=["503", "dropped"])
def test_single_failure_is_retried(bench, kind, fault):
    bench.server.order(kind, fault)
    action = bench.assign(bench.script("one", "echo fine"))
    daemon = bench.start()

    bench.wait_for_end(action)

    daemon.wait_for_line("INFO .*event=retrying.* retries=1")
    assert action.status is Status.FINISHED


def test_second_failure_ends_the_cycle_and_the_next_poll_continues(bench):
    bench.server.order("deploymentBase", Code(503), times=2)
    action = bench.assign(bench.script("one", "echo fine"))
    daemon = bench.start()

    bench.wait_for_end(action)

    daemon.wait_for_line("WARNING .*event=failing")
    assert len(bench.exchanges("deploymentBase")) == 3
    assert action.status is Status.FINISHED


def without_hashes(document):
    del document["deployment"]["chunks"][0]["artifacts"][0]["hashes"]
    return document


def text_for_chunks(document):
    document["deployment"]["chunks"] = "none"
    return document


@pytest.mark.parametrize("fault", [
    Text("{"), Text("null"), Text("{}"), Mutate(without_hashes), Mutate(text_for_chunks)],
    ids=["broken", "null", "empty", "no hashes", "chunks are text"])
def test_daemon_survives_an_unusable_deployment(bench, fault):
    bench.server.order("deploymentBase", fault, times=2)
    action = bench.assign(bench.script("one", "echo fine"))
    daemon = bench.start()

    bench.wait_for_end(action)

    daemon.wait_for_line("ERROR .*event=exception_caught action=fsm_agent_event")
    assert action.status is Status.FINISHED


def test_daemon_survives_an_unusable_cancel_action(bench):
    bench.configure("service.automatic_update", "0")
    bench.server.order("cancelAction", Text("{}"), times=2)
    action = bench.assign(bench.script("one", "echo fine"), type="soft")
    daemon = bench.start()
    bench.wait_for_exchanges("deploymentBase", 1)

    bench.server.cancel(action)
    bench.wait_for_end(action)

    daemon.wait_for_line("ERROR .*event=exception_caught action=fsm_agent_event")
    assert action.status is Status.CANCELED


def test_daemon_reconnects_to_a_server_that_comes_back(bench):
    bench.start()
    bench.wait_for_exchanges("configData", 1)
    action = bench.assign(bench.script("one", "echo fine"))

    bench.server.stop()
    bench.server.start()
    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
