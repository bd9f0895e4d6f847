# SPDX-License-Identifier: Apache-2.0
"""A gateway agent that starts inactive."""
import signal

import pytest

from bench import POLL_SECONDS
from hawkbit_server import Code, Drop, Status
from held_script import HeldScript

DORMANT = ("--dormant", "true")


def lies_still(daemon, ticks=8):
    """Asserts that the daemon stays idle for some steps."""
    for _ in range(ticks):
        daemon.wait_for_line("event=tick .*to_state=12", start=len(daemon.output.lines))


def test_dormant_agent_makes_no_request(bench):
    daemon = bench.start(*DORMANT)

    lies_still(daemon)

    assert bench.server.exchanges() == []
    assert bench.server.handshake_failures == []


def test_dormant_agent_polls_once_after_the_reboot_of_an_installer(bench):
    bench.configure("service.rebooted", "1")
    daemon = bench.start(*DORMANT)

    daemon.wait_for_line("WARNING .*action=spawn_gateway_agent "
                         "message=forcing poll after installer reboot$")
    put = bench.wait_for_exchanges("configData", 1)[0]
    lies_still(daemon)
    seen = len(bench.server.exchanges())
    lies_still(daemon, 12)

    assert bench.option("rebooted") == "0"
    assert put.json()["data"]["dormant"] == "1"
    assert len(bench.server.exchanges()) == seen


@pytest.mark.differs("kept-reports")
def test_dormant_agent_finishes_what_a_lost_report_interrupted(bench):
    # The last of three: started, chunk deployed, deployment successful.
    bench.server.order("feedback", Drop(), first=3)
    action = bench.assign(bench.script("one", "echo fine"))
    bench.configure("service.rebooted", "1")
    bench.supervise(*DORMANT)

    bench.wait_for_end(action)

    assert [each.exit_status for each in bench.gateway.daemons[:-1]] == [1]
    assert action.status is Status.FINISHED
    bench.wait_until(lambda: bench.option("rebooted") == "0", "the end of the owed poll")


def test_dormant_agent_goes_on_with_a_deployment_that_a_stop_interrupted(bench):
    held = HeldScript(bench, "held")
    action = bench.assign(held.module, bench.script("next", "echo fine"))
    bench.configure("service.rebooted", "1")
    daemon = bench.start(*DORMANT)
    held.wait_until_it_runs()
    taken = bench.option("rebooted")
    daemon.signal(signal.SIGTERM)
    held.release()

    status = daemon.wait()
    left = bench.option("rebooted")
    open_still = action.active
    bench.start(*DORMANT)
    bench.wait_for_end(action)

    assert (taken, status, left, open_still) == ("0", 0, "1", True)
    assert action.status is Status.FINISHED


@pytest.mark.parametrize("kind", ["deploymentBase", "cancelAction"])
def test_dormant_agent_polls_until_it_has_done_what_it_found(bench, kind):
    # Two failures are one more than the retry makes good.
    bench.server.order(kind, Code(503), times=2)
    action = bench.assign(bench.script("one", "echo fine"))
    if kind != "deploymentBase":
        bench.server.cancel(action)
    bench.configure("service.rebooted", "1")
    daemon = bench.start(*DORMANT)

    bench.wait_for_end(action)
    lies_still(daemon, 1)
    seen = len(bench.server.exchanges())
    lies_still(daemon, POLL_SECONDS + 2)

    assert action.status is (Status.FINISHED if kind == "deploymentBase" else Status.CANCELED)
    assert not action.spoilt
    assert len(bench.server.exchanges()) == seen


@pytest.mark.parametrize("value", ["true", "0", "11"])
def test_other_values_of_the_reboot_mark_are_ignored(bench, value):
    bench.configure("service.rebooted", value)
    daemon = bench.start(*DORMANT)

    lies_still(daemon)

    assert bench.server.exchanges() == []
    assert bench.option("rebooted") == value


def test_active_agent_leaves_the_reboot_mark_alone(bench):
    bench.configure("service.rebooted", "1")
    daemon = bench.start()

    bench.wait_for_exchanges("base", 3)

    assert bench.option("rebooted") == "1"
    assert "forcing poll after installer reboot" not in daemon.log


@pytest.mark.parametrize("word", ["false", "0", "no", "off"])
def test_dormant_can_be_switched_off(bench, word):
    bench.start("--dormant", word)

    put = bench.wait_for_exchanges("configData", 1)[0]

    assert put.json()["data"]["dormant"] == "0"


@pytest.mark.parametrize("word", ["1", "yes", "on"])
def test_dormant_accepts_several_spellings(bench, word):
    daemon = bench.start("--dormant", word)

    lies_still(daemon, 3)

    assert bench.server.exchanges() == []
