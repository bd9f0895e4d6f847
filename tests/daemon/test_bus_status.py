# SPDX-License-Identifier: Apache-2.0
"""What local software sees of the daemon, and may ask of it, with the option bus_extended."""
import json
import pathlib
import re
import signal
import time

import pytest

from bus_subscriber import Subscriber
from gateway.bus import BusError
from hawkbit_server import Code, Slow, Status
from held_script import HeldScript
from local_control import NOTHING_PENDING, RARE, SUCCESS, LocalControl
from test_downloads import large_script
from update_window import DAYS, set_schedule

ANOTHER_ONE = {"success": False, "message": "another deployment is pending"}
TIME = r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ"


@pytest.fixture(name="bench")
def fixture_bench(make_bench):
    bench = make_bench(poll=RARE)
    bench.configure("service.bus_extended", "1")
    return bench


def status(control):
    return control.bus.call("get_status")


def wait_for_state(bench, control, state):
    def there():
        found = status(control)
        return found["state"] == state and found
    return bench.wait_until(there, f"the state {state}")


def leave_it_to_the_user(bench):
    bench.configure("service.automatic_update", "0")


def waiting_for_the_user(bench, control):
    """A daemon with a deployment that waits for consent."""
    leave_it_to_the_user(bench)
    action = bench.assign(bench.script("one", "echo one"), type="soft")
    daemon = bench.start()
    control.wait_until_served()
    wait_for_state(bench, control, "waiting_user")
    return daemon, action


def test_pending_release_has_names_sizes_and_what_the_operator_tells(bench, control):
    leave_it_to_the_user(bench)
    bench.assign(bench.module("zw", "radio", "6.8", {"radio.bin": b"1234", "table": b"567"},
                              {"Changes": "Faster.\n\u00fc", "Lasts": "long"}),
                 bench.script("one", "echo one"), type="soft")
    bench.start()
    control.wait_until_served()
    control.wait_for_pending()

    assert control.get_deployment()["chunks"] == [
        {"type": "zw", "version": "6.8", "name": "radio", "size": 7,
         "metadata": [{"key": "Changes", "value": "Faster.\n\u00fc"}, {"key": "Lasts", "value": "long"}]},
        {"type": "script", "version": "1.0", "name": "one", "size": len("#!/bin/sh\necho one")}]


# hawkBit sends texts only. The bare numbers stand for whatever else there may be one day.
BROKEN = {"notes": "<img src=x onerror=alert(1)>\u202e" + "n" * 300, "number": 7, "none": None,
          **{f"note {number}": "x" for number in range(1000)}}


def offer_broken_metadata(bench):
    leave_it_to_the_user(bench)
    return bench.assign(bench.script("one", "echo one", metadata=BROKEN), type="soft")


def test_metadata_of_no_use_are_logged_once_and_harm_no_deployment(bench, control):
    action = offer_broken_metadata(bench)
    daemon = bench.start()
    control.wait_until_served()
    notes = control.wait_for_pending()["chunks"][0]["metadata"]
    control.force_poll()
    bench.wait_for_exchanges("deploymentBase", 2)
    control.wait_for_pending()
    control.accept_deployment()
    bench.wait_for_end(action)

    assert notes[0] == {"key": "notes", "value": BROKEN["notes"]}
    assert notes[1:] == [{"key": f"note {number}", "value": "x"} for number in range(999)]
    assert daemon.log.count("metadata_left_out") == 1
    assert f"event=metadata_left_out action_id={action.id} entries=3" in daemon.log
    assert action.entries[-1].type is Status.FINISHED


@pytest.mark.differs("extended-bus")
def test_without_the_option_neither_answer_nor_log_knows_of_metadata(make_bench):
    bench = make_bench(poll=RARE)
    control = LocalControl(bench)
    offer_broken_metadata(bench)
    daemon = bench.start()
    control.wait_until_served()

    assert control.wait_for_pending()["chunks"] == [{"type": "script", "version": "1.0"}]
    assert "metadata_left_out" not in daemon.log


def download_slowly(bench, size, speed):
    bench.configure("network.attempts", "3")
    bench.server.order("artifact", Slow(speed))
    return large_script(bench, size)


@pytest.mark.differs("extended-bus")
def test_without_the_option_nothing_of_it_exists(make_bench):
    bench = make_bench(poll=RARE)
    control = LocalControl(bench)
    leave_it_to_the_user(bench)
    action = bench.assign(bench.script("one", "echo one"), type="soft")
    bench.start()
    control.wait_until_served()
    control.wait_for_pending()

    for method, arguments in (("get_status", None), ("postpone_deployment", {"hours": 1})):
        with pytest.raises(BusError) as refused:
            control.bus.call(method, arguments)
        assert refused.value.status == 3
    accepted = control.bus.call("accept_deployment", {"action_id": "another"})
    bench.wait_for_end(action)

    assert accepted == SUCCESS


def test_status_tells_of_polls_and_of_the_next_one(bench, control):
    bench.start()
    control.wait_until_served()

    seen = wait_for_state(bench, control, "idle")

    assert set(seen) == {"state", "next_poll", "counters"}
    assert re.fullmatch(TIME, seen["next_poll"])
    assert seen["counters"] == {"polls": 2, "failed_polls": 0, "deployments": 0, "bytes": 0}


def test_status_tells_why_the_daemon_backs_off(bench, control):
    bench.server.order("base", Code(503))
    bench.start()
    control.wait_until_served()

    seen = wait_for_state(bench, control, "backoff")

    assert seen["last_error"]["status"] == 503
    assert "HTTP" in seen["last_error"]["text"]
    assert re.fullmatch(TIME, seen["last_error"]["time"])
    assert seen["backoff_until"] == seen["next_poll"]
    assert seen["counters"]["failed_polls"] == 1


def test_status_follows_a_deployment(bench, control):
    # By the order of names it is the second one.
    held = HeldScript(bench, "second")
    size = 2_000_000
    action = bench.assign(download_slowly(bench, size, 400_000), held.module)
    bench.start()
    control.wait_until_served()

    def arriving():
        found = status(control)
        return found["state"] == "downloading" and found.get("bytes", 0) > 0 and "speed" in found and found
    downloading = bench.wait_until(arriving, "progress")
    held.wait_until_it_runs()
    held.release()
    bench.wait_for_end(action)
    after = wait_for_state(bench, control, "idle")

    assert downloading["action_id"] == str(action.id)
    assert (downloading["chunk"], downloading["chunks"]) == (1, 2)
    assert (downloading["part"], downloading["version"]) == ("script", "1.0")
    assert 0 < downloading["bytes"] <= downloading["size"] == size
    assert downloading["attempt"] == 1
    assert 0 < downloading["speed"] < 10 * 400_000
    assert after["last_result"]["action_id"] == str(action.id)
    assert after["last_result"]["result"] == "success"
    assert after["counters"]["deployments"] == 1
    assert after["counters"]["bytes"] > size
    assert not {"action_id", "bytes", "chunk", "last_error"} & set(after)


def test_status_tells_of_a_failed_deployment(bench, control):
    action = bench.assign(bench.script("bad", "exit 3"))
    bench.start()
    control.wait_until_served()
    bench.wait_for_end(action)

    seen = wait_for_state(bench, control, "idle")

    assert action.status is Status.ERROR
    assert seen["last_result"]["result"] == "failure"
    assert seen["last_error"]["text"] == bench.closing_reports()[0][3][0]
    assert seen["last_error"]["status"] == 2003


def test_only_the_deployment_that_was_looked_at_is_accepted(bench, control):
    _, action = waiting_for_the_user(bench, control)

    refused = control.bus.call("accept_deployment", {"action_id": "12345"})
    seen = status(control)
    accepted = control.bus.call("accept_deployment", {"action_id": seen["action_id"]})
    bench.wait_for_end(action)
    gone = control.bus.call("accept_deployment", {"action_id": seen["action_id"]})

    assert refused == ANOTHER_ONE
    assert seen["state"] == "waiting_user"
    assert accepted == SUCCESS
    assert gone["message"] == NOTHING_PENDING


def test_postponed_deployment_waits_and_goes_on_waiting_after_a_restart(bench, control):
    daemon, action = waiting_for_the_user(bench, control)
    before = time.time()
    assert control.bus.call("postpone_deployment", {"hours": 5}) == SUCCESS
    daemon.wait_for_line("event=postpone_deployment")
    bench.configure("service.automatic_update", "1")
    recorded = bench.option("postponed_deployment").split()

    daemon.kill()
    bench.start()
    control.wait_until_served()
    seen = wait_for_state(bench, control, "waiting_delay")
    time.sleep(3)
    still = status(control)

    assert recorded[1] == str(action.id)
    assert before + 5 * 3600 - 1 <= int(recorded[0]) <= time.time() + 5 * 3600
    assert re.fullmatch(TIME, seen["delay_until"])
    assert still["state"] == "waiting_delay"
    assert bench.exchanges("artifact") == []
    control.accept_deployment()
    bench.wait_for_end(action)
    assert bench.option("postponed_deployment") in (None, "")


def test_another_action_is_not_postponed(bench, control):
    daemon, first = waiting_for_the_user(bench, control)
    control.bus.call("postpone_deployment", {"hours": 168})
    daemon.wait_for_line("event=postpone_deployment")
    bench.configure("service.automatic_update", "1")

    bench.server.cancel(first)
    control.force_poll()
    bench.wait_for_end(first)
    second = bench.assign(bench.script("two", "echo two"), type="soft")
    control.force_poll()
    bench.wait_for_end(second)

    assert second.status is Status.FINISHED


def test_window_and_random_delay_are_shown(bench, control):
    set_schedule(bench, " ".join(DAYS))
    bench.assign(bench.script("one", "echo one"), type="soft")
    bench.start()
    control.wait_until_served()

    seen = wait_for_state(bench, control, "waiting_delay")

    assert re.fullmatch(TIME, seen["delay_until"])


def test_subscribers_hear_of_each_state_and_of_progress(bench, control):
    module = download_slowly(bench, 2_000_000, 400_000)
    daemon = bench.start()
    control.wait_until_served()
    wait_for_state(bench, control, "idle")
    subscriber = Subscriber(bench, "reader")
    action = bench.assign(module)

    control.force_poll()
    bench.wait_for_end(action)
    subscriber.wait_for(lambda kind, content: kind == "state" and content["state"] == "idle" and
                        "last_result" in content)
    heard = subscriber.stop()

    states = [content["state"] for kind, content in heard if kind == "state"]
    progress = [content for kind, content in heard if kind == "progress"]
    assert [state for state in states if state in ("downloading", "verifying", "installing")][:3] == [
        "downloading", "verifying", "installing"]
    assert states[0] == "polling"
    assert states[-1] == "idle"
    assert len(progress) >= 3
    assert all(set(each) <= {"action_id", "part", "bytes", "size", "speed", "chunk", "chunks"} for each in progress)
    assert [each["bytes"] for each in progress] == sorted(each["bytes"] for each in progress)
    assert heard[-1][1]["last_result"]["result"] == "success"
    assert daemon.is_running()


def test_slow_subscribers_hold_up_nobody(bench, control):
    module = download_slowly(bench, 1_200_000, 400_000)
    bench.start()
    control.wait_until_served()
    wait_for_state(bench, control, "idle")
    stuck = [Subscriber(bench, f"stuck-{number}") for number in range(5)]
    quick = Subscriber(bench, "quick")
    for each in stuck:
        each.signal(signal.SIGSTOP)
    action = bench.assign(module)

    control.force_poll()
    bench.wait_for_end(action)
    quick.wait_for(lambda kind, content: kind == "state" and "last_result" in content)

    assert action.status is Status.FINISHED
    for each in stuck:
        each.signal(signal.SIGCONT)
        each.stop()


def test_broker_that_stalls_holds_up_no_deployment(bench, control):
    daemon = bench.start()
    control.wait_until_served()
    wait_for_state(bench, control, "idle")
    subscriber = Subscriber(bench, "reader")
    action = bench.assign(*(bench.script(f"s{number:02}", "echo x") for number in range(12)))
    control.force_poll()

    control.bus.signal(signal.SIGSTOP)
    try:
        bench.wait_for_end(action)
    finally:
        control.bus.signal(signal.SIGCONT)
    after = wait_for_state(bench, control, "idle")
    subscriber.wait_for(lambda kind, content: kind == "state" and "last_result" in content)

    assert action.status is Status.FINISHED
    assert after["last_result"]["result"] == "success"
    assert daemon.is_running()


def test_daemon_ends_soon_while_the_broker_stalls(bench, control):
    daemon = bench.start()
    control.wait_until_served()
    wait_for_state(bench, control, "idle")
    Subscriber(bench, "reader")
    control.bus.signal(signal.SIGSTOP)
    try:
        before = time.monotonic()
        daemon.signal(signal.SIGTERM)
        daemon.wait()
        assert time.monotonic() - before < 15
    finally:
        control.bus.signal(signal.SIGCONT)


def test_script_waits_for_the_end_of_an_update(bench, control):
    _, action = waiting_for_the_user(bench, control)
    documented = (pathlib.Path(__file__).parents[2] / "docs/control.md").read_text()
    script = re.search(r"^(ubus -t 7200 subscribe zephran .*?^})$", documented, re.M | re.S)[1]

    waiting = bench.gateway.start_program(["/bin/sh", "-c", f"action={action.id}\n{script}"], "wait-for-end")
    bench.wait_for_end(action)
    bench.wait_until(lambda: "last_result" in waiting.out, "the result")

    content = json.loads(waiting.out[waiting.out.index("{ \"state\": ") + 11:-3])
    assert content["last_result"]["action_id"] == str(action.id)
    assert content["last_result"]["result"] == "success"
