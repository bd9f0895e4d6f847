# SPDX-License-Identifier: Apache-2.0
"""Cancelling and withdrawing a deployment, before and during it."""
import time

from bench import POLL_SECONDS
from hawkbit_server import Status
from held_script import HeldScript

NOTHING_TO_DO = ("closed", "success", "None/None", ["Deployment not running. Nothing to do."])


def installs_the_next(bench):
    """Whether the gateway still works: it carries out a new deployment."""
    action = bench.assign(bench.script("next", "echo next"))
    bench.wait_for_end(action)
    return action.status is Status.FINISHED


def wait_for_due_poll(bench):
    """Waits until the next poll is due. The daemon is blocked meanwhile, so it does not poll."""
    last = bench.exchanges("base")[-1].arrived
    time.sleep(max(0.0, last + POLL_SECONDS + 1 - time.time()))


def test_cancel_while_waiting_is_confirmed(bench):
    bench.configure("service.automatic_update", "0")
    action = bench.assign(bench.script("one", "echo fine"), type="soft")
    bench.start()
    bench.wait_for_exchanges("deploymentBase", 1)

    bench.server.cancel(action)
    bench.wait_for_end(action)

    assert action.status is Status.CANCELED
    assert bench.reports("cancelFeedback") == [NOTHING_TO_DO]
    assert bench.exchanges("cancelFeedback")[0].json()["id"] == str(action.id)
    assert bench.reports() == []
    assert installs_the_next(bench)


def test_cancel_during_a_chunk_takes_effect_after_it(bench):
    held = HeldScript(bench, "one")
    action = bench.assign(held.module, bench.script("two", "touch /tmp/state-two-ran"))
    bench.start()
    held.wait_until_it_runs()

    bench.server.cancel(action)
    wait_for_due_poll(bench)
    held.release()
    bench.wait_for_end(action)

    assert action.status is Status.CANCELED
    assert bench.closing_reports() == []
    assert len(bench.reports("cancelFeedback")) == 1
    assert bench.reports("cancelFeedback")[0][:2] == ("closed", "success")
    assert bench.gateway.leftovers() == held.own_files
    assert installs_the_next(bench)


def test_withdrawn_deployment_is_dropped_without_a_report(bench):
    held = HeldScript(bench, "one")
    action = bench.assign(held.module, bench.script("two", "touch /tmp/state-two-ran"))
    daemon = bench.start()
    held.wait_until_it_runs()

    bench.server.cancel(action)
    bench.server.force_quit(action)
    wait_for_due_poll(bench)
    held.release()
    daemon.wait_for_line("abort_deployment_action")
    bench.wait_for_exchanges("base", len(bench.exchanges("base")) + 1)

    assert bench.closing_reports() == []
    assert bench.reports("cancelFeedback") == []
    assert bench.gateway.leftovers() == held.own_files
    assert installs_the_next(bench)
    assert daemon.is_running()


def test_superseded_deployment_gives_way_to_the_newer_one(bench):
    held = HeldScript(bench, "one")
    older = bench.assign(held.module, bench.script("two", "touch /tmp/state-two-ran"))
    bench.start()
    held.wait_until_it_runs()

    newer = bench.assign(bench.script("newer", "echo newer"))
    wait_for_due_poll(bench)
    held.release()
    bench.wait_for_end(newer)

    assert older.status is Status.CANCELED
    assert newer.status is Status.FINISHED
    assert bench.gateway.leftovers() == held.own_files
