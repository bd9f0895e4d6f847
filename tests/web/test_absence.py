# SPDX-License-Identifier: Apache-2.0
"""The page while the gateway has something else to do than to answer, and afterwards."""
import pytest

from household import offer

RESTARTING = "The gateway does not answer; it is probably restarting for the update. Do not unplug it."
# A script that was started counts as done when the gateway comes back.
INSTALLED = "The last update was installed."


@pytest.fixture(name="held")
def fixture_held(bench, control, home):
    """An update that is being installed before the eyes of a person."""
    action = offer(bench, control, "sleep 1000")
    home.open()
    control.accept_deployment()
    home.wait_for_text("sentence", "An update is being installed.")
    return action


def restart(bench, control):
    """Ends the gateway in the middle of an installation, and has it come back."""
    bench.gateway.reboot()
    bench.start()
    control.wait_until_served()


def test_page_finds_the_daemon_again(bench, control, home):
    daemon = bench.start()
    control.wait_until_served()
    home.open()
    home.wait_for_text("sentence", "No update is pending.")

    daemon.kill()
    home.wait_for_text("sentence", "The update service is not running on this gateway.")
    assert home.buttons() == []
    assert home.text("release") == ""
    bench.start()

    home.wait_for_text("sentence", "No update is pending.")
    assert home.notices() == []


def test_there_is_a_sentence_where_no_daemon_was_from_the_beginning(home):
    home.open()

    home.wait_for_text("sentence", "The update service is not running on this gateway.")
    assert home.buttons() == []


def test_page_says_what_is_missing_without_the_extended_bus(bench, control, home):
    bench.configure("service.bus_extended", "0")
    bench.start()
    control.wait_until_served()

    home.open()

    home.wait_for_text("sentence", "the option bus_extended is off")
    assert home.buttons() == []


def test_page_comes_through_a_restart_of_the_gateway(bench, control, home, held):
    home.front.is_on = False
    home.wait_for_text("sentence", RESTARTING)
    restart(bench, control)
    home.front.is_on = True

    bench.wait_for_end(held)
    home.wait_for_text("outcome", INSTALLED)
    home.wait_for_text("sentence", "No update is pending.")
    # Between two polls; the gateway polls by itself after such a deployment.
    home.wait_for(lambda: home.buttons() == ["Look for updates now"], "the only button")


def test_lost_session_is_told(bench, control, home, held):
    home.front.is_on = False
    home.wait_for_text("sentence", RESTARTING)
    restart(bench, control)
    home.front.forget_sessions()
    home.front.is_on = True

    # The web interface puts its own question over the page, and this page says so itself.
    home.wait_for(lambda: "session" in home.body() and "log" in home.body(), "the advice to log in")
    assert home.buttons() == []
    assert home.text("outcome") == ""
    bench.wait_for_end(held)
    home.open()
    home.wait_for_text("outcome", INSTALLED)
