# SPDX-License-Identifier: Apache-2.0
"""The stand-in broker, byte for byte: events, and everything else clients may ask."""
import pytest
from recorded_traffic import listen

from openwrt.bus.wire import (
    A_DATA,
    A_ID,
    A_METHOD,
    A_STATUS,
    DATA,
    HELLO,
    INVOKE,
    PING,
    REMOVE_OBJECT,
    STATUS,
    attribute,
    frame,
    named_number,
    named_text,
    number,
    text,
)

# --- everything else clients may ask

def test_ping_is_echoed(bus):
    client = bus.client()

    client.send(frame(PING, 9, 77, named_text("any", "thing")))

    assert client.frame().bytes == frame(DATA, 9, 77, named_text("any", "thing"))
    assert client.frame().bytes == frame(STATUS, 9, 77, number(A_STATUS, 0))


@pytest.mark.parametrize("kind, status", [(HELLO, 1), (8, 2), (9, 2), (10, 2), (11, 1), (12, 1), (255, 1)])
def test_other_requests_are_refused(bus, kind, status):
    client = bus.client()

    client.send(frame(kind, 3, 4, number(A_ID, 5)))

    assert client.frame().bytes == frame(STATUS, 3, 4, number(A_STATUS, status))


def test_version_is_not_looked_at(bus):
    client = bus.client()

    client.send(b"\7" + frame(PING, 1, 0)[1:])

    assert [client.frame().type, client.frame().type] == [DATA, STATUS]


# --- events

@pytest.mark.parametrize("pattern, events", [
    ("ubus.object.add", ["add"]), ("ubus.object.remove", ["remove"]),
    ("ubus.object.*", ["add", "remove"]), ("*", ["add", "remove"]), ("ubus.object", []),
    ("ubus.object.ad?", [])])
def test_listener_hears_of_named_objects_what_matches_its_pattern(bus, pattern, events):
    listening, owner = bus.client(), bus.client()
    listener = listen(listening, pattern)

    demo = owner.add("demo")
    nameless = owner.add()
    for gone in (demo, nameless):
        assert owner.request(REMOVE_OBJECT, number(A_ID, gone))[1] == 0

    id_and_path = named_number("id", demo) + named_text("path", "demo")
    for event in events:
        heard = listening.frame()
        assert (heard.type, heard.peer) == (INVOKE, 0)
        assert heard.payload == (number(A_ID, listener) + text(A_METHOD, f"ubus.object.{event}") +
                                 attribute(A_DATA, id_and_path))
        listening.finish(heard)
    assert listening.settled()


def test_listener_hears_of_the_objects_of_a_client_that_left(bus):
    listening, owner = bus.client(), bus.client()
    listen(listening, "ubus.object.remove")
    owner.add("one")
    owner.add("two")

    owner.close()

    heard = [listening.frame().attributes[A_DATA] for _ in range(2)]
    assert [b"one" in heard[0] + heard[1], b"two" in heard[0] + heard[1]] == [True, True]


def test_listener_that_was_removed_hears_no_more(bus):
    listening, owner = bus.client(), bus.client()
    listener = listen(listening, "*")

    assert listening.request(REMOVE_OBJECT, number(A_ID, listener))[1] == 0
    owner.add("demo")

    assert listening.settled()


def test_registration_for_events_is_checked(bus):
    client, other = bus.client(), bus.client()
    own, foreign = client.add(), other.add()

    def register(method_name, data):
        client.invoke(1, method_name, data)
        return client.frame().attributes[A_STATUS]

    pattern = named_text("pattern", "*")
    assert register("nothing", named_number("object", own) + pattern) == 1
    assert register("register", named_number("object", own)) == 2
    assert register("register", pattern) == 2
    assert register("register", named_text("object", "x") + pattern) == 2
    assert register("register", named_number("object", own ^ 1) + pattern) == 4
    assert register("register", named_number("object", foreign) + pattern) == 6
    assert register("register", named_number("object", own) + pattern) == 0
