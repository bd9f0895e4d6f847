# SPDX-License-Identifier: Apache-2.0
"""The update server takes a report, and its answer is lost.

The daemon cannot tell this from a report that was lost. What has to come of it, per kind of report:

report                       at the server                the daemon              after that
attributes                   the attributes               sends them once more    goes on
started, chunk deployed      see report_moments.py        ends with status 1      as the history says
successful end               FINISHED                     ends with status 1      leaves the action alone
failed end                   ERROR                        ends with status 1      leaves the action alone
cancelled, nothing to do     CANCELED                     sends it once more      leaves the action alone
cancelled an installation    CANCELED                     ends with status 1      leaves the action alone
refused to cancel            RUNNING, the refusal         ends with status 1      installs from the beginning

A download-only deployment is never reported on, so only its cancellation can be. No part of the daemon sends
"rejected" yet.
"""
import pytest

from bench import DEVICE
from hawkbit_server import Drop, Status
from release import let_it_poll_again
from report_moments import CHUNK, END, NUMBERS, OUTCOMES, START, OneChunk, recorded
from test_cancel import NOTHING_TO_DO, installs_the_next, wait_for_due_poll

LOST = Drop(processed=True)
COUNTED_RUN = "echo run >>/etc/installed/runs\n"


def runs(bench):
    return bench.gateway.installed_files.get("runs", b"").count(b"run")


def lose_the_answer_to(bench, kind, number=1):
    bench.server.order(kind, LOST, first=number)


def assert_ended_once_with_an_error(supervisor):
    """Asserts that one process has ended by itself, and with an error."""
    statuses = [daemon.exit_status for daemon in supervisor.daemons[:-1]]
    assert [status for status in statuses if status >= 0] == [1]
    assert supervisor.daemon.is_running()


@pytest.mark.differs("kept-reports", "started-scripts")
@pytest.mark.parametrize("part, report", [
    ("script", START), ("os", START), ("zw", START), ("opkg", START),
    ("script", CHUNK), ("os", CHUNK), ("zw", CHUNK), ("opkg", CHUNK), ("script", END)])
def test_report_of_a_step(bench, part, report):
    one = OneChunk(bench, part)
    lose_the_answer_to(bench, "feedback", NUMBERS[report])
    supervisor = one.supervise()

    bench.wait_for_end(one.action)
    let_it_poll_again(bench)

    assert one.outcome() == OUTCOMES[part, report, True]
    assert not one.action.spoilt
    assert_ended_once_with_an_error(supervisor)
    one.assert_in_order()


@pytest.mark.differs("kept-reports")
def test_report_of_a_failure(bench):
    action = bench.assign(bench.script("one", COUNTED_RUN + "exit 3"))
    lose_the_answer_to(bench, "feedback", 2)
    supervisor = bench.supervise()

    bench.wait_for_end(action)
    let_it_poll_again(bench)

    assert action.status is Status.ERROR
    assert not action.spoilt
    assert [report[0] for report in recorded(action)] == ["Installation started", "Script returned an error"]
    assert runs(bench) == 1
    assert_ended_once_with_an_error(supervisor)
    assert installs_the_next(bench)


def test_attributes(bench):
    lose_the_answer_to(bench, "configData")
    action = bench.assign(bench.script("one", COUNTED_RUN))
    daemon = bench.start(properties={"serial": "S-1"})

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert bench.server.target(DEVICE).attributes["serial"] == "S-1"
    assert [each.outcome for each in bench.server.exchanges("configData")] == ["dropped", "answered"]
    assert daemon.is_running()


@pytest.mark.parametrize("type", ["soft", "downloadonly"])
def test_cancellation_of_what_does_not_run(bench, type):
    bench.configure("service.automatic_update", "0")
    action = bench.assign(bench.script("one", COUNTED_RUN), type=type)
    lose_the_answer_to(bench, "cancelFeedback")
    daemon = bench.start()
    # A deployment that must not be installed is read twice.
    bench.wait_for_exchanges("deploymentBase", 2 if type == "downloadonly" else 1)

    bench.server.cancel(action)
    bench.wait_for_end(action)
    bench.wait_for_exchanges("cancelFeedback", 1)
    let_it_poll_again(bench)

    assert action.status is Status.CANCELED
    assert not action.spoilt
    # The second one does no harm: the server takes it, too.
    assert [each.outcome for each in bench.server.exchanges("cancelFeedback")] == ["dropped", "answered"]
    assert bench.reports("cancelFeedback") == [NOTHING_TO_DO]
    assert runs(bench) == 0
    assert installs_the_next(bench)
    assert daemon.is_running()


def cancel_during_the_installation(bench, files, rounds):
    """Cancels a script of so many files; the cancellation reaches the agent at an exact step.

    The daemon is held in the download of the first file until its next poll is due, so both of its machines begin
    at one step. Each further file takes the deployer four steps, and each round of attributes the agent three.
    """
    contents = {f"{number}.sh": f"#!/bin/sh\n{COUNTED_RUN}# {number}".encode() for number in range(files)}
    action = bench.assign(bench.module("script", "one", "1.0", contents))
    stall = bench.stall("artifact")
    supervisor = bench.supervise()
    bench.wait_until(stall.reached.is_set, "the download")
    # The cancellation comes last: the files of a cancelled deployment cannot be downloaded.
    steps = [lambda: bench.server.request_attributes(DEVICE)] * (rounds - 1) + [lambda: bench.server.cancel(action)]

    def go_on(event):
        if event.name == "attributes" and steps:
            steps.pop(0)()

    bench.server.observe(go_on)
    bench.server.request_attributes(DEVICE)
    lose_the_answer_to(bench, "cancelFeedback")
    wait_for_due_poll(bench)
    stall.release()
    bench.wait_until(lambda: len(supervisor.daemons) > 1, "the end of the first process")
    return action, supervisor


@pytest.mark.differs("kept-reports", "tries")
def test_cancellation_of_an_installation_that_has_not_begun(bench):
    action, supervisor = cancel_during_the_installation(bench, files=3, rounds=3)

    let_it_poll_again(bench)

    assert action.status is Status.CANCELED
    assert not action.spoilt
    assert [report[0] for report in recorded(action)] == ["Installation started"]
    assert len(bench.server.exchanges("cancelFeedback")) == 1
    assert runs(bench) == 0
    assert bench.gateway.leftovers() == []
    assert_ended_once_with_an_error(supervisor)
    assert installs_the_next(bench)


@pytest.mark.differs("kept-reports", "tries")
def test_refusal_to_cancel_an_installation(bench):
    action, supervisor = cancel_during_the_installation(bench, files=2, rounds=2)
    refusal = bench.server.exchanges("cancelFeedback")[0].json()["status"]

    bench.wait_for_end(action)
    let_it_poll_again(bench)

    assert refusal["result"]["finished"] == "failure"
    assert action.status is Status.FINISHED
    assert not action.spoilt
    assert [report[0] for report in recorded(action)] == [
        "Installation started", "Installation started", "Chunk deployed", "Deployment successful"]
    assert runs(bench) == 2
    assert bench.gateway.leftovers() == []
    assert_ended_once_with_an_error(supervisor)
