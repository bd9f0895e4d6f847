# SPDX-License-Identifier: Apache-2.0
"""Deployments that the server tells the gateway not to install, now or ever."""
from outcomes import assert_closed_once, is_downloading

SKIPPED = "ERROR .*event=exception_caught action=fsm_agent_event what=Invalid update type"
# Long enough for two offers before it opens.
OPENS_IN = 30


def wait_until_skipped(home, daemon):
    """Waits until the gateway has read the offer twice without acting on it."""
    for _ in range(2):
        seen = len(daemon.output.lines)
        home.poll_now()
        daemon.wait_for_line(SKIPPED, start=seen)


def test_download_only_is_not_installed_and_the_next_deployment_is_taken(home):
    daemon = home.start()
    home.wait_until_registered()
    unwanted = home.assign(home.script("unwanted", "touch /tmp/state-ran"), type="downloadonly")
    wait_until_skipped(home, daemon)
    before = home.server.action(unwanted)
    following = home.assign(home.script("following", "echo fine"))
    home.poll_now()

    home.wait_for_end(unwanted)
    home.poll_now()
    assert_closed_once(home, following)

    record = home.server.action(unwanted)
    assert before.active
    assert before.reported == []
    assert record.status == "canceled"
    assert record.reported == ["Deployment not running. Nothing to do."]
    assert not is_downloading(home.server, unwanted)
    assert not (home.gateway.tmp / "state-ran").exists()
    assert daemon.is_running()


def test_cancelled_download_only_is_answered(home):
    daemon = home.start()
    home.wait_until_registered()
    action = home.assign(home.script("one", "touch /tmp/state-ran"), type="downloadonly")
    wait_until_skipped(home, daemon)

    home.server.cancel(action)
    home.poll_now()
    record = assert_closed_once(home, action, "canceled")

    assert record.reported == ["Deployment not running. Nothing to do."]
    assert not (home.gateway.tmp / "state-ran").exists()


def test_deployment_waits_for_its_maintenance_window(home):
    daemon = home.start()
    home.wait_until_registered()
    action = home.assign(home.script("one", "echo in time"), window_opens_in=OPENS_IN)
    wait_until_skipped(home, daemon)
    before = home.server.action(action)

    record = assert_closed_once(home, action)

    assert before.active
    assert before.reported == []
    assert not any(entry.type == "download" for entry in before.entries)
    assert "in time" in record.reported
    assert daemon.is_running()
