# SPDX-License-Identifier: Apache-2.0
"""Queries and forced polls over the message bus."""
import json
import re
import time

import pytest

from bench import DEVICE
from hawkbit_server import Code, Status
from held_script import HeldScript
from local_control import BEFORE_THE_FIRST_POLL, FAILURE, NOTHING_PENDING, RARE, SUCCESS
from update_window import BACKOFF, FINISHED, comes_to_rest_in, goes_on_resting, rests_in


@pytest.fixture(name="bench")
def fixture_bench(make_bench):
    return make_bench(poll=RARE)


def at_rest(bench, control, *arguments):
    """Starts a daemon and waits until it has sent its attributes and waits for its next poll."""
    daemon = bench.start(*arguments)
    bench.wait_for_exchanges("base", 2)
    rests_in(daemon, FINISHED)
    control.wait_until_served()
    return daemon


@pytest.mark.differs("extended-bus")
def test_object_is_listed_with_its_methods_and_their_arguments(bench, control):
    bench.start()
    control.wait_until_served()

    listed = control.bus.command("-v", "list", simple=False).out

    assert re.fullmatch("'zephran' @[0-9a-f]{8}\n"
                        '\t"force_poll":{"agent_id":"String"}\n'
                        '\t"get_deployment":{}\n'
                        '\t"accept_deployment":{}\n'
                        '\t"get_agents":{}\n', listed)


def test_agents_are_listed_with_the_attributes_sent_to_the_server(bench, control):
    attributes_held = bench.stall("configData")
    bench.start(properties={"hw_revision": "3", "serial": 17, "installed_flash_type": "nand"})
    control.wait_until_served()
    bench.wait_until(attributes_held.reached.is_set, "the sending of the attributes")

    before = control.get_agents()
    attributes_held.release()
    sent = bench.wait_for_exchanges("configData", 1)[0].json()["data"]
    after = control.get_agents()

    assert before == after == {"agents": [{"id": DEVICE, "config": sent}]}
    assert sent == {"dormant": "0", "hw_revision": "3", "installed_flash_type": "nand",
                    "serial": "17"}


def test_dormant_gateway_is_listed_before_it_contacts_the_server(bench, control):
    bench.start("--dormant", "true")
    control.wait_until_served()

    agents = control.get_agents()

    assert agents == {"agents": [{"id": DEVICE,
                                  "config": {"dormant": "1", "installed_flash_type": ""}}]}
    assert bench.server.exchanges() == []


def test_before_the_first_poll_no_deployment_and_no_time_are_shown(bench, control):
    poll_held = bench.stall("base")
    daemon = bench.start()
    control.wait_until_served()
    bench.wait_until(poll_held.reached.is_set, "the first poll")

    reply = control.bus.command("call", "zephran", "get_deployment").out

    assert reply == (f'{{"last_poll":"{BEFORE_THE_FIRST_POLL}","message":"{NOTHING_PENDING}",'
                     '"success":false}\n')
    daemon.wait_for_line("INFO .* handle_get_deployment: event=ubus method=get_deployment$")


def test_get_last_poll_returns_the_time_of_the_last_poll(bench, control):
    at_rest(bench, control)

    first = control.last_poll()
    bench.wait_until(lambda: time.time() > first + 2, "a later second")
    control.force_poll()
    poll = bench.wait_for_exchanges("base", 3)[2]
    second = bench.wait_until(lambda: control.last_poll() > first and control.last_poll(),
                              "another time of the last poll")

    assert int(bench.exchanges("base")[0].arrived) <= first
    assert int(poll.arrived) <= second <= time.time()
    assert control.get_deployment()["message"] == NOTHING_PENDING


@pytest.mark.differs("extended-bus")
def test_deployment_is_pending_from_the_poll_that_found_it_to_its_start(bench, control):
    bench.configure("service.automatic_update", "0")
    held = HeldScript(bench, "b")
    action = bench.assign(held.module, bench.script("c", "echo c", "2.1"),
                          bench.script("a", "echo a", "0.9"), type="soft")
    bench.start()
    control.wait_until_served()

    pending = control.wait_for_pending()
    fetched = bench.exchanges("deploymentBase")[-1]
    offered = fetched.response_json()
    control.accept_deployment()
    held.wait_until_it_runs()
    started = control.get_deployment()
    held.release()
    bench.wait_for_end(action)
    ended = control.wait_for_none_pending()

    assert pending == {
        "action_id": offered["id"], "success": True, "last_poll": pending["last_poll"],
        "chunks": [{"type": chunk["part"], "version": chunk["version"]}
                   for chunk in offered["deployment"]["chunks"]]}
    assert [chunk["version"] for chunk in pending["chunks"]] == ["1.0", "2.1", "0.9"]
    assert pending["action_id"] == str(action.id)
    assert pending["last_poll"] >= time.strftime("%FT%TZ", time.gmtime(fetched.arrived))
    for reply in (started, ended):
        assert reply == {"success": False, "message": NOTHING_PENDING,
                         "last_poll": pending["last_poll"]}
    assert action.status is Status.FINISHED


@pytest.mark.parametrize("arguments, logged", [
    (None, "all"), ("{}", "all"), ('{"agent":"other"}', "all"),
    (json.dumps({"agent_id": DEVICE}), f'"{DEVICE}"'),
])
def test_forced_poll_happens_once_and_immediately(bench, control, arguments, logged):
    daemon = at_rest(bench, control)

    reply = control.force_poll(arguments)
    bench.wait_for_exchanges("base", 3)
    daemon.wait_for_line(f"INFO .* handle_force_poll: event=ubus method=force_poll agent={logged}$")
    comes_to_rest_in(daemon, FINISHED)
    goes_on_resting(daemon, FINISHED)

    assert reply == SUCCESS
    assert [each.kind for each in bench.exchanges()] == ["base", "configData", "base", "base"]


def test_forced_poll_of_an_unknown_agent_fails(bench, control):
    daemon = at_rest(bench, control)

    reply = control.force_poll({"agent_id": "unknown"})
    daemon.wait_for_line('ERROR .* handle_force_poll: event=ubus error=no such agent '
                         'agent="unknown"$')
    goes_on_resting(daemon, FINISHED)

    assert reply == FAILURE
    assert '"unknown"' in daemon.err
    assert len(bench.exchanges("base")) == 2


def test_dormant_gateway_polls_once_when_forced(bench, control):
    daemon = bench.start("--dormant", "true")
    control.wait_until_served()
    rests_in(daemon, FINISHED)

    reply = control.force_poll()
    bench.wait_for_exchanges("base", 2)
    bench.wait_until(lambda: control.get_deployment()["last_poll"] != BEFORE_THE_FIRST_POLL,
                     "the time of the poll")
    comes_to_rest_in(daemon, FINISHED)
    goes_on_resting(daemon, FINISHED, ticks=8)

    assert reply == SUCCESS
    assert [each.kind for each in bench.exchanges()] == ["base", "configData", "base"]


def test_forced_poll_ends_a_back_off(bench, control):
    bench.server.order("base", Code(503), times=4)
    daemon = bench.start()
    control.wait_until_served()

    for number in range(1, 5):
        bench.wait_for_exchanges("base", number)
        comes_to_rest_in(daemon, BACKOFF)
        assert control.force_poll() == SUCCESS
    bench.wait_for_exchanges("configData", 1)
    polls = bench.exchanges("base")

    # The back-off takes minutes in all, the polls are seconds apart.
    delays = re.findall(r"event=backoff delay=(\d+)h:(\d+)m:(\d+)s", daemon.out)
    seconds = [int(hours) * 3600 + int(minutes) * 60 + int(rest) for hours, minutes, rest in delays]
    assert len(seconds) == 4
    assert polls[4].arrived - polls[0].arrived < sum(seconds)
    assert [poll.status for poll in polls[:5]] == [503, 503, 503, 503, 200]


def test_forced_poll_during_a_deployment_waits_only_for_the_current_step(bench, control):
    held = HeldScript(bench, "one")
    action = bench.assign(held.module, bench.script("two", "echo two"))
    bench.start()
    held.wait_until_it_runs()
    polls = len(bench.exchanges("base"))

    reply = control.force_poll({"agent_id": DEVICE})
    while_it_ran = len(bench.exchanges("base"))
    held.release()
    bench.wait_for_exchanges("base", polls + 1)
    was_active = action.active
    bench.wait_for_end(action)

    assert reply == SUCCESS
    assert while_it_ran == polls
    assert was_active
    assert action.status is Status.FINISHED
    assert len(bench.exchanges("deploymentBase")) == 1
