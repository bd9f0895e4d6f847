# SPDX-License-Identifier: Apache-2.0
"""The server, or the proxy in front of it, restarts while gateways are at work.

There is one gateway in each phase of a deployment, and all of them meet the same outage.
"""
import contextlib
from dataclasses import dataclass

import pytest

from held_script import HeldScript
from home import Home
from local_control import LocalControl
from outcomes import is_downloading, poll_again, texts_of, was_closed_once

# At the limited speed, the download lasts well beyond the start of the outage.
LARGE = 300_000


@dataclass
class Phase:
    """A gateway in one phase of a deployment, and how it continues.

    action        its current action
    in_outage     called during the outage
    after_outage  called after the outage
    polls         whether it polls in that phase; a running script blocks everything else
    """

    home: Home
    action: int | None = None
    polls: bool = True
    in_outage: callable = lambda: None
    after_outage: callable = lambda: None


def idle(home):
    """Is assigned its deployment after the outage."""
    phase = Phase(home)

    def assign():
        phase.action = home.assign(home.script("late", "echo done"))
    phase.after_outage = assign
    return phase


def waiting_for_the_user(home):
    home.configure("service.automatic_update", "0")
    action = home.assign(home.script("soft", "echo done"), type="soft")
    control = LocalControl(home)
    home.poll_now()
    control.wait_for_pending()

    def accept():
        control.wait_for_pending()
        assert control.accept_deployment() == {"success": True}
    return Phase(home, action, after_outage=accept)


def downloading(home):
    home.server.slow_down(home.device)
    text = b"#!/bin/sh\necho done\nexit\n# " + home.device.encode() + b"x" * LARGE
    action = home.assign(home.module("script", "large", "1.0", {"large.sh": text}))
    home.poll_now()
    home.wait_until(lambda: is_downloading(home.server, action), "the beginning of the download")
    return Phase(home, action)


def installing(home):
    held = HeldScript(home, "held", after="echo done")
    action = home.assign(held.module)
    home.poll_now()
    held.wait_until_it_runs()
    return Phase(home, action, polls=False, after_outage=held.release)


def about_to_report(home):
    """Its script ends during the outage."""
    held = HeldScript(home, "silent", after="echo done")
    action = home.assign(held.module)
    home.poll_now()
    held.wait_until_it_runs()

    def end_it():
        ended = len(home.supervisor.daemons)
        held.release()
        # The failed report ends the daemon, which is restarted and cannot reach the server either.
        home.wait_until(lambda: len(home.supervisor.daemons) > ended, "the end of the daemon")
    return Phase(home, action, in_outage=end_it)


# The download comes last, since it cannot be held.
PHASES = (idle, waiting_for_the_user, installing, about_to_report, downloading)


@contextlib.contextmanager
def outage(stop, start):
    stop()
    try:
        yield
    finally:
        start()


def go_through(make_home, stop, start, cuts_downloads):
    """Brings a gateway into each phase, causes the outage, and returns the phases when all have finished.

    cuts_downloads  whether a download breaks off; through a proxy it may outlive the server
    """
    homes = [make_home() for _ in PHASES]
    for home in homes:
        home.supervise()
    for home in homes:
        home.wait_until_registered()
    phases = [enter(home) for enter, home in zip(PHASES, homes, strict=True)]
    loading = phases[-1].home
    assert loading.server.action(phases[-1].action).reported == []

    with outage(stop, start):
        for phase in phases:
            phase.in_outage()
        for phase in phases:
            if phase.polls:
                poll_until_backed_off(phase.home)
    for phase in phases:
        phase.home.poll_now()
        phase.after_outage()
        phase.home.poll_now()
    for phase in phases:
        phase.home.wait_for_end(phase.action)
    poll_again(*homes)
    if cuts_downloads:
        # The failure could not be reported, which ended the daemon; the next one started from the beginning.
        assert loading.supervisor.daemons[0].exit_status == 1, loading.supervisor.daemons[0].log[-3000:]
    return phases


def poll_until_backed_off(home):
    """Polls until a poll fails; after a failed report, the daemon has been restarted first."""
    def has_backed_off():
        home.poll_now()
        return any("event=backoff" in line.text for line in home.gateway.daemons[-1].output.lines)
    home.wait_until(has_backed_off, "a poll that fails")


def assert_all_told_the_truth(phases):
    for phase in phases:
        record = was_closed_once(phase.home, phase.action)
        assert texts_of(record, "finished") == [["Deployment successful"]]
        assert phase.home.server.target(phase.home.device).update_status == "in_sync"
    ran = {enter.__name__: phase.home.server.action(phase.action).reported.count("done")
           for enter, phase in zip(PHASES, phases, strict=True)}
    # The output of a script is lost with the daemon that could not report it.
    assert ran == {**dict.fromkeys((each.__name__ for each in PHASES), 1), "about_to_report": 0}


@pytest.mark.alone
def test_server_is_restarted_in_the_middle_of_each_phase(make_home, server):
    phases = go_through(make_home, server.stop, server.start,
                        cuts_downloads=not server.has_proxy)

    assert_all_told_the_truth(phases)


@pytest.mark.alone
@pytest.mark.proxied
def test_proxy_is_restarted_in_the_middle_of_each_phase(make_home, server):
    phases = go_through(make_home, server.stop_proxy, server.start_proxy, cuts_downloads=True)

    assert_all_told_the_truth(phases)
