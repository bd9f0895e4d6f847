# SPDX-License-Identifier: Apache-2.0
"""Deployments whose start depends on the gateway's window, on its user, and on the operator."""
import time

import pytest

from flow import SUCCESSFUL, deployed, reports, start_known, started
from local_control import FAILURE, NOTHING_PENDING, SUCCESS, LocalControl
from update_window import (
    DAYS,
    WAITING_DELAY,
    WAITING_ON_SCHEDULE,
    WAITING_ON_USER,
    comes_to_rest_in,
    day_after,
    rests_in,
    set_schedule,
)


def shut_window(home):
    set_schedule(home, day_after(3))


def open_window(home):
    set_schedule(home, " ".join(DAYS))


def leave_it_to_the_user(home):
    home.configure("service.automatic_update", "0")


WAITING = pytest.mark.parametrize("configure, state", [
    pytest.param(shut_window, WAITING_ON_SCHEDULE, id="window-shut"),
    pytest.param(open_window, WAITING_DELAY, id="window-open"),
    pytest.param(leave_it_to_the_user, WAITING_ON_USER, id="user-asked")])


def assign_soft(home):
    action = home.assign(home.script("one", "echo one"), type="soft")
    home.poll_now()
    return action


def assert_waits_unreported(home, daemon, action, state):
    """Asserts that the gateway reads the offer more than once, stays idle, and reports nothing."""
    rests_in(daemon, state)
    seen = len(daemon.output.lines)
    home.poll_now()
    daemon.wait_for_line("event=retrieve_deployment_action", start=seen)
    comes_to_rest_in(daemon, state)
    record = home.server.action(action)
    assert record.active
    assert record.entries[-1].type == "retrieved"
    assert reports(record) == []


def assert_carried_out(home, record):
    chunk = f"script:{home.label}-one:1.0"
    assert record.status == "finished"
    assert reports(record) == [started(chunk), deployed(chunk, "one"), SUCCESSFUL]


def test_without_a_window_it_starts_by_itself(home):
    start_known(home)

    action = assign_soft(home)
    record = home.wait_for_end(action)

    assert_carried_out(home, record)


def test_in_the_open_window_a_delay_is_drawn_and_kept(home):
    open_window(home)
    daemon = start_known(home)

    action = assign_soft(home)
    drawn = int(daemon.wait_for_line(r"INFO .*delay_mins=(\d+) until=").group(1))
    home.poll_now()
    kept = int(daemon.wait_for_line(r"INFO .*action=reusing delay delay_mins=(\d+)").group(1))
    rests_in(daemon, WAITING_DELAY)
    waiting = home.server.action(action)

    assert drawn - 2 <= kept <= drawn <= 2 * 24 * 60
    assert waiting.active
    assert reports(waiting) == []


@WAITING
def test_accepted_on_the_bus_it_starts_whatever_it_waits_for(home, configure, state):
    configure(home)
    daemon = start_known(home)
    control = LocalControl(home)
    action = assign_soft(home)
    assert_waits_unreported(home, daemon, action, state)

    pending = control.wait_for_pending()
    # Nothing is pending while the daemon polls.
    home.wait_until(lambda: control.accept_deployment() == SUCCESS, "the acceptance")
    record = home.wait_for_end(action)

    assert pending["action_id"] == str(action)
    assert_carried_out(home, record)
    assert control.accept_deployment() == {**FAILURE, "message": NOTHING_PENDING}


@WAITING
def test_forced_by_the_operator_it_starts_whatever_it_waits_for(home, configure, state):
    configure(home)
    daemon = start_known(home)
    action = assign_soft(home)
    assert_waits_unreported(home, daemon, action, state)

    home.server.force(action)
    home.poll_now()
    record = home.wait_for_end(action)

    assert_carried_out(home, record)


def test_it_starts_when_the_user_wants_automatic_updates_after_all(home):
    leave_it_to_the_user(home)
    daemon = start_known(home)
    action = assign_soft(home)
    assert_waits_unreported(home, daemon, action, WAITING_ON_USER)

    home.configure("service.automatic_update", "1")
    record = home.wait_for_end(action)

    assert_carried_out(home, record)


def test_it_waits_until_its_forced_time_and_is_then_carried_out(home):
    leave_it_to_the_user(home)
    daemon = start_known(home)
    force_time = time.time() + 15
    action = home.assign(home.script("one", "echo one; date +%s >/tmp/state-time"), type="timeforced",
                         force_time=force_time)
    home.poll_now()
    assert_waits_unreported(home, daemon, action, WAITING_ON_USER)

    record = home.wait_for_end(action)

    assert_carried_out(home, record)
    assert int((home.gateway.tmp / "state-time").read_text()) >= int(force_time)
