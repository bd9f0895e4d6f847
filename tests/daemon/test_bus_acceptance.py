# SPDX-License-Identifier: Apache-2.0
"""The user's consent to a deployment, given over the message bus."""
import pytest

from hawkbit_server import Status
from local_control import FAILURE, NOTHING_PENDING, RARE, SUCCESS, LocalControl
from update_window import (
    DAYS,
    FINISHED,
    WAITING_DELAY,
    WAITING_ON_SCHEDULE,
    WAITING_ON_USER,
    comes_to_rest_in,
    day_after,
    goes_on_resting,
    rests_in,
    set_schedule,
)

REFUSED = {**FAILURE, "message": NOTHING_PENDING}


@pytest.fixture(name="bench")
def fixture_bench(make_bench):
    return make_bench(poll=RARE)


def shut_window(bench):
    set_schedule(bench, day_after(3))


def open_window(bench):
    set_schedule(bench, " ".join(DAYS))


def leave_it_to_the_user(bench):
    bench.configure("service.automatic_update", "0")


def soft_action(bench, name="one"):
    return bench.assign(bench.script(name, f"echo {name}"), type="soft")


@pytest.mark.parametrize("configure, state", [
    (shut_window, WAITING_ON_SCHEDULE), (open_window, WAITING_DELAY),
    (leave_it_to_the_user, WAITING_ON_USER)])
def test_accepted_deployment_starts_whatever_it_waits_for(bench, control, configure, state):
    configure(bench)
    action = soft_action(bench)
    daemon = bench.start()
    rests_in(daemon, state)
    goes_on_resting(daemon, state)
    polls = len(bench.exchanges("base"))

    reply = control.accept_deployment()
    bench.wait_for_end(action)

    assert reply == SUCCESS
    assert action.status is Status.FINISHED
    assert len(bench.exchanges("base")) == polls
    assert len(bench.exchanges("deploymentBase")) == 1
    daemon.wait_for_line("INFO .* handle_accept_deployment: "
                         "event=ubus method=accept_deployment$")


def test_acceptance_may_be_repeated(bench, control):
    leave_it_to_the_user(bench)
    action = soft_action(bench)
    daemon = bench.start()
    rests_in(daemon, WAITING_ON_USER)

    # Both calls in one command, as the next step starts the deployment within a second.
    accept = "ubus -S call zephran accept_deployment"
    both = bench.gateway.start_program(["/bin/sh", "-c", f"{accept}; {accept}"], "accept-twice")
    both.wait()
    bench.wait_for_end(action)

    assert both.out == '{"success":true}\n' * 2
    assert action.status is Status.FINISHED
    assert len(bench.closing_reports()) == 1


def test_acceptance_is_refused_while_nothing_is_pending(bench, control):
    leave_it_to_the_user(bench)
    daemon = bench.start()
    control.wait_until_served()
    bench.wait_for_exchanges("base", 2)

    reply = control.accept_deployment()
    action = soft_action(bench)
    control.force_poll()
    rests_in(daemon, WAITING_ON_USER)
    goes_on_resting(daemon, WAITING_ON_USER)

    assert reply == REFUSED
    assert action.active
    assert bench.exchanges("artifact") == []


def test_withdrawn_deployment_cannot_be_accepted(bench, control):
    leave_it_to_the_user(bench)
    action = soft_action(bench)
    daemon = bench.start()
    rests_in(daemon, WAITING_ON_USER)

    bench.server.cancel(action)
    control.force_poll()
    bench.wait_for_end(action)
    reply = control.accept_deployment()

    assert reply == REFUSED
    assert action.status is Status.CANCELED
    assert bench.exchanges("artifact") == []


@pytest.mark.differs("tries")
def test_acceptance_before_the_servers_cancel_arrives_does_no_harm(bench, control):
    leave_it_to_the_user(bench)
    action = soft_action(bench)
    daemon = bench.start()
    rests_in(daemon, WAITING_ON_USER)

    bench.server.cancel(action)
    reply = control.accept_deployment()
    control.wait_for_none_pending()
    control.force_poll()
    bench.wait_for_end(action)
    following = bench.assign(bench.script("next", "echo next"))
    control.force_poll()
    bench.wait_for_end(following)

    assert reply == SUCCESS
    assert following.status is Status.FINISHED
    assert daemon.is_running()


def test_acceptance_applies_to_one_deployment_only(bench, control):
    leave_it_to_the_user(bench)
    first = soft_action(bench)
    daemon = bench.start()
    rests_in(daemon, WAITING_ON_USER)
    control.accept_deployment()
    bench.wait_for_end(first)

    second = soft_action(bench, "two")
    downloads = len(bench.exchanges("artifact"))
    control.force_poll()
    pending = control.wait_for_pending()
    comes_to_rest_in(daemon, WAITING_ON_USER)
    goes_on_resting(daemon, WAITING_ON_USER)
    downloads_before_acceptance = len(bench.exchanges("artifact"))
    control.accept_deployment()
    bench.wait_for_end(second)

    assert pending["action_id"] == str(second.id)
    assert downloads_before_acceptance == downloads
    assert first.status is second.status is Status.FINISHED


def test_nothing_is_pending_during_a_poll(bench, control):
    leave_it_to_the_user(bench)
    poll_held = bench.stall("base", first=3)
    soft_action(bench)
    daemon = bench.start()
    rests_in(daemon, WAITING_ON_USER)
    before = control.get_deployment()

    # The agent drops the pending deployment before it polls.
    control.force_poll()
    bench.wait_until(poll_held.reached.is_set, "the poll")
    during = control.accept_deployment()
    replacement = soft_action(bench, "two")
    poll_held.release()
    bench.wait_for_exchanges("cancelFeedback", 1)
    control.force_poll()
    after = control.wait_for_pending()
    comes_to_rest_in(daemon, WAITING_ON_USER)
    goes_on_resting(daemon, WAITING_ON_USER)

    assert before["success"]
    assert during == REFUSED
    assert after["action_id"] == str(replacement.id)
    assert bench.exchanges("artifact") == []


def test_soft_deployment_waits_for_acceptance_over_several_polls(bench, control):
    leave_it_to_the_user(bench)
    action = soft_action(bench)
    daemon = bench.start()
    control.wait_until_served()

    for _ in range(3):
        pending = control.wait_for_pending()
        comes_to_rest_in(daemon, WAITING_ON_USER)
        goes_on_resting(daemon, WAITING_ON_USER, ticks=2)
        assert pending["action_id"] == str(action.id)
        polls = len(bench.exchanges("deploymentBase"))
        control.force_poll()
        bench.wait_for_exchanges("deploymentBase", polls + 1)

    assert action.active
    assert bench.exchanges("artifact", "feedback") == []


def test_dormant_gateway_keeps_a_pending_deployment_until_its_next_poll_would_be_due(make_bench):
    bench = make_bench()
    leave_it_to_the_user(bench)
    action = soft_action(bench)
    daemon = bench.start("--dormant", "true")
    control = LocalControl(bench)
    control.wait_until_served()

    control.force_poll()
    pending = control.wait_for_pending()
    forgotten = control.wait_for_none_pending()
    comes_to_rest_in(daemon, FINISHED)
    polls = len(bench.exchanges("base"))
    goes_on_resting(daemon, FINISHED)
    polls_at_rest = len(bench.exchanges("base")) - polls
    refused = control.accept_deployment()
    control.force_poll()
    control.wait_for_pending()
    accepted = control.accept_deployment()
    bench.wait_for_end(action)

    assert pending["last_poll"] == forgotten["last_poll"]
    assert polls_at_rest == 0
    assert (refused, accepted) == (REFUSED, SUCCESS)
    assert action.status is Status.FINISHED
