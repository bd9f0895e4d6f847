# SPDX-License-Identifier: Apache-2.0
"""What a household sees of an update, and may say about it."""
from household import offer


def test_nothing_is_pending(bench, control, home):
    bench.start()
    control.wait_until_served()
    bench.wait_until(lambda: control.bus.call("get_status")["state"] == "idle", "a daemon at rest")

    home.open()

    home.wait_for_text("sentence", "No update is pending.")
    print(f"\nusable after {home.run('return performance.now()') / 1000:.1f} s")
    assert home.text("release") == ""
    assert home.buttons() == ["Look for updates now"]
    assert home.notices() == []


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
    assert home.text("message") == ""


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
