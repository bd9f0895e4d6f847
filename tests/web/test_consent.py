# SPDX-License-Identifier: Apache-2.0
"""What a household sees of an update, and may say about it."""
import pytest

from hawkbit_server import Slow
from local_control import LocalControl


@pytest.fixture(name="control")
def fixture_control(bench):
    return LocalControl(bench)


def offer(bench, control, text="echo one", version="1.0"):
    """A release that waits for the consent of the user."""
    action = bench.assign(bench.script("one", text, version), type="soft")
    bench.start()
    control.wait_until_served()
    control.wait_for_pending()
    return action


def test_nothing_is_pending(bench, control, home):
    bench.start()
    control.wait_until_served()

    home.open()

    home.wait_for_text("sentence", "No update is pending.")
    assert home.text("release") == ""
    assert home.buttons() == ["Look for updates now"]


def test_two_clicks_install_what_was_looked_at(bench, control, home):
    action = offer(bench, control, version="2.7")
    home.open()
    home.wait_for_text("release", "Script 2.7")

    home.click("Install now")
    assert home.front.calls == []
    home.click("Yes, install it now")
    bench.wait_for_end(action)

    home.wait_for_text("outcome", "The last update was installed.")
    assert home.front.calls == [("accept_deployment", {"action_id": str(action.id)})]
    assert home.text("choices") == ""


def test_reader_sees_it_and_can_do_nothing(bench, control, home):
    offer(bench, control)

    home.open("guest")

    home.wait_for_text("release", "Script 1.0")
    assert home.buttons() == []
    session = home.front.log_in("guest", "look")
    refused = home.front.answer({"jsonrpc": "2.0", "id": 1, "method": "call",
                                 "params": [session, "zephran", "accept_deployment", {}]})
    assert refused["error"]["code"] == -32002
    assert control.get_deployment()["success"]


def test_another_release_is_not_installed_unseen(bench, control, home):
    first = offer(bench, control)
    home.open()
    home.wait_for_text("release", "Script 1.0")
    home.click("Install now")

    bench.server.cancel(first)
    control.force_poll()
    bench.wait_for_end(first)
    second = bench.assign(bench.script("two", "echo two", "2.0"), type="soft")
    control.force_poll()

    home.wait_for_text("release", "Script 2.0")
    assert "Yes, install it now" not in home.buttons()
    assert home.front.calls == []
    assert second.active


def test_postponed(bench, control, home):
    action = offer(bench, control)
    home.open()
    home.wait_for_text("release", "Script 1.0")

    home.click("Postpone")

    home.wait_for_text("message", "The update is postponed.")
    home.wait_for_text("sentence", "Not before")
    assert home.front.calls == [("postpone_deployment", {"hours": 4})]
    assert action.active


def test_failure_is_told_in_words(bench, control, home):
    action = offer(bench, control, "echo '<b>broken</b>' >&2; exit 3")
    home.open()
    control.accept_deployment()
    bench.wait_for_end(action)

    home.wait_for_text("outcome", "The last update has failed.")
    assert "An installation did not succeed." in home.text("outcome")


def test_names_of_the_server_are_text(bench, control, home):
    version = "<img src=x onerror=document.title='taken'>\u202egnp." + "v" * 200
    offer(bench, control, version=version)
    home.narrow(360)

    home.open()

    home.wait_for_text("release", "<img src=x onerror=document.title='taken'>\ufffdgnp.")
    assert home.browser.title == "Gateway"
    assert home.browser.execute_script("return document.images.length") == 0
    assert home.browser.execute_script("return window.innerWidth") == 360
    assert home.browser.execute_script(
        "const page = document.querySelector('.zephran'); return page.scrollWidth <= page.clientWidth"
        " && page.getBoundingClientRect().right <= 360")


def test_progress_moves(bench, control, home):
    size = 4_000_000
    bench.server.order("artifact", Slow(500_000))
    action = offer(bench, control, "exit 0\n#" + "x" * size)
    home.open()
    home.wait_for_text("release", "Script")
    control.accept_deployment()

    home.wait_for_text("progress", "per second")
    bar = "return Number(document.querySelector('[role=progressbar]').getAttribute('aria-valuenow'))"
    before = home.browser.execute_script(bar)
    bench.wait_until(lambda: home.browser.execute_script(bar) > before, "a bar that moves")
    bench.wait_for_end(action)

    home.wait_for_text("outcome", "The last update was installed.")
    assert home.text("progress") == ""


def test_page_finds_the_daemon_again(bench, control, home):
    daemon = bench.start()
    control.wait_until_served()
    home.open()
    home.wait_for_text("sentence", "No update is pending.")

    daemon.kill()
    home.wait_for_text("sentence", "The update service is not running on this gateway.")
    assert home.buttons() == []
    bench.start()

    home.wait_for_text("sentence", "No update is pending.")
