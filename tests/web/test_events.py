# SPDX-License-Identifier: Apache-2.0
"""The daemon's notifications as the gateway's web server passes them on: server-sent events."""
import json
import signal
import urllib.error
import urllib.request

import pytest

from gateway_bench import TIMEOUT
from web_front import User, WebFront
from web_page import ACCESS

PATH = "/ubus/subscribe/zephran"
LISTENER, RESIDENT = User("all ears", read=("listening",)), User("let me", read=("luci-app-zephran",))


@pytest.fixture(name="front")
def fixture_front(bench, tmp_path):
    """Has the groups of the package, and one that may listen."""
    for path in ACCESS.glob("*.json"):
        (tmp_path / path.name).write_bytes(path.read_bytes())
    (tmp_path / "listening.json").write_text(
        json.dumps({"listening": {"description": "", "read": {"ubus": {"zephran": [":subscribe"]}}}}))
    front = WebFront(bench.gateway, tmp_path, {"listener": LISTENER, "resident": RESIDENT}, [], {})
    yield front
    front.close()


def subscribe(front, session):
    request = urllib.request.Request(front.address + PATH, headers={"Authorization": f"Bearer {session}"})
    return urllib.request.urlopen(request, timeout=TIMEOUT)


def events(stream):
    """Kind and content of each event, until the stream ends."""
    kind = None
    for line in stream:
        name, _, value = line.decode().rstrip("\n").partition(": ")
        if name == "event":
            kind = value
        elif name == "data":
            yield kind, json.loads(value)


@pytest.fixture(name="daemon")
def fixture_daemon(bench, control):
    daemon = bench.start()
    control.wait_until_served()
    return daemon


@pytest.fixture(name="stream")
def fixture_stream(bench, control, front, daemon):
    """A subscription that the daemon knows of already."""
    stream = subscribe(front, front.log_in("listener", LISTENER.password))
    assert stream.headers["Content-Type"].startswith("text/event-stream")

    def hears():
        control.force_poll()
        return front.events.sent
    bench.wait_until(hears, "the first event")
    return stream


def test_deployment_is_told_to_its_end(bench, control, stream):
    action = bench.assign(bench.script("one", "echo one", "2.7"))
    control.force_poll()
    bench.wait_for_end(action)

    seen = []
    for kind, content in events(stream):
        seen.append((kind, content["state"]))
        if content.get("last_result", {}).get("result") == "success":
            break

    assert content["last_result"]["action_id"] == str(action.id)
    assert ("state", "installing") in seen


@pytest.mark.parametrize("name", ["resident", "nobody"])
@pytest.mark.usefixtures("daemon")
def test_without_the_right_nothing_is_told(front, name):
    session = front.log_in("resident", RESIDENT.password) if name == "resident" else "no such session"

    with pytest.raises(urllib.error.HTTPError) as refused:
        subscribe(front, session)

    assert refused.value.code == 403
    assert front.events.subscriptions == 0


def test_subscription_ends_with_its_reader(bench, front, daemon, stream):
    assert front.events.subscriptions == 1
    # No further event is to tell that nobody reads them.
    daemon.signal(signal.SIGSTOP)

    stream.close()

    bench.server.wait_for(lambda: front.events.subscriptions == 0, TIMEOUT, "the end of the subscription")
    daemon.signal(signal.SIGCONT)


def test_restart_of_the_gateway_ends_it(front, stream):
    front.is_on = False

    assert all(kind == "state" for kind, _ in events(stream))
    assert front.events.subscriptions == 0
