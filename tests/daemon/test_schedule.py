# SPDX-License-Identifier: Apache-2.0
"""Soft deployments: the weekly window, its random delay, and the user's consent."""
import re

from hawkbit_server import Status
from update_window import DAYS, WAITING_ON_SCHEDULE, WAITING_ON_USER, day_after, rests_in, set_schedule


def test_without_a_schedule_a_soft_deployment_starts_at_once(bench):
    action = bench.assign(bench.script("one", "echo fine"), type="soft")
    daemon = bench.start()

    bench.wait_for_end(action)

    # The history from the server contained only its own entry.
    offered = bench.exchanges("deploymentBase")[0].response_json()
    assert offered["actionHistory"]["messages"] == ["Assignment initiated by user 'admin'"]
    assert offered["deployment"]["update"] == "attempt"
    assert action.status is Status.FINISHED
    daemon.wait_for_line(r"pick_deployment_delay: .*action=skipped")
    assert "unknown action message" not in daemon.log
    assert " ERROR " not in daemon.log


def test_inside_the_window_a_delay_is_drawn_once_and_kept(bench):
    set_schedule(bench, " ".join(DAYS))
    action = bench.assign(bench.script("one", "echo fine"), type="soft")
    daemon = bench.start()

    drawn = int(daemon.wait_for_line(r"INFO .*delay_mins=(\d+) until=").group(1))
    kept = int(daemon.wait_for_line(r"INFO .*action=reusing delay delay_mins=(\d+)").group(1))
    bench.server.force(action)
    bench.wait_for_end(action)

    daemon.wait_for_line(r"is_inside_update_schedule: .*inside=1")
    assert drawn - 2 <= kept <= drawn <= 2 * 24 * 60
    assert len(re.findall(r"delay_mins=\d+ until=", daemon.out)) == 1
    assert action.status is Status.FINISHED


def test_outside_the_window_a_soft_deployment_waits_until_it_is_forced(bench):
    set_schedule(bench, day_after(3))
    action = bench.assign(bench.script("one", "echo fine"), type="soft")
    daemon = bench.start()

    rests_in(daemon, WAITING_ON_SCHEDULE)
    bench.wait_for_exchanges("deploymentBase", 2)
    before = len(bench.exchanges("artifact"))
    bench.server.force(action)
    bench.wait_for_end(action)

    daemon.wait_for_line(r"is_inside_update_schedule: .*inside=0")
    assert before == 0
    assert action.status is Status.FINISHED


def test_forced_deployment_ignores_window_and_consent(bench):
    set_schedule(bench, day_after(3))
    bench.configure("service.automatic_update", "0")
    action = bench.assign(bench.script("one", "echo fine"))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED


def test_schedule_is_logged_at_the_start(bench):
    set_schedule(bench, "Monday  Friday", start="08:30", stop="17:45")
    daemon = bench.start(level="INFO")

    daemon.wait_for_line(r"INFO \S+ read_update_schedule_from_config: "
                         r"action=read_update_schedule_from_config start_hour=8 end_hour=17 "
                         r"weekdays=34$")


def test_disabled_schedule_is_logged_too(bench):
    daemon = bench.start(level="INFO")

    daemon.wait_for_line(r"INFO \S+ read_update_schedule: action=read_update_schedule "
                         r"message=schedule disabled in config$")


def test_unreadable_schedule_is_ignored(bench):
    set_schedule(bench, "monday")
    daemon = bench.start()

    daemon.wait_for_line("message=disabling update schedule due to exception$")
    bench.wait_for_exchanges("base", 1)

    daemon.wait_for_line("DEBUG .*event=exception_caught "
                         "action=read_update_schedule_from_config what=")


def test_with_automatic_updates_off_a_soft_deployment_waits_for_the_user(bench):
    bench.configure("service.automatic_update", "0")
    action = bench.assign(bench.script("one", "echo fine"), type="soft")
    daemon = bench.start()

    rests_in(daemon, WAITING_ON_USER)
    bench.wait_for_exchanges("deploymentBase", 2)
    before = len(bench.exchanges("artifact"))
    bench.configure("service.automatic_update", "1")
    bench.wait_for_end(action)

    assert before == 0
    assert action.status is Status.FINISHED


def test_missing_consent_option_is_written_with_its_default(bench):
    bench.configure("service.automatic_update", None)
    action = bench.assign(bench.script("one", "echo fine"), type="soft")
    daemon = bench.start()

    bench.wait_for_end(action)

    daemon.wait_for_line("WARNING .*message=missing config entry, setting default enabled")
    assert bench.option("automatic_update") == "1"
    assert action.status is Status.FINISHED


def test_soft_deployment_withdrawn_while_waiting_is_forgotten(bench):
    bench.configure("service.automatic_update", "0")
    action = bench.assign(bench.script("one", "echo fine"), type="soft")
    daemon = bench.start()
    rests_in(daemon, WAITING_ON_USER)

    bench.server.cancel(action)
    bench.server.force_quit(action)
    polls = len(bench.exchanges("base"))
    bench.wait_for_exchanges("base", polls + 2)
    next_action = bench.assign(bench.script("two", "echo fine"))
    bench.wait_for_end(next_action)

    assert bench.reports("cancelFeedback") == []
    assert next_action.status is Status.FINISHED
