# SPDX-License-Identifier: Apache-2.0
"""The stand-in command line: waiting for objects, and listening to events."""
import json
import os
import signal
import socket
import time

import pytest
from ubus_command import result, start, ubus

from bus_bench import PATIENCE, RawConnection, until
from openwrt.bus.wire import (
    A_DATA,
    A_ID,
    A_METHOD,
    A_NO_REPLY,
    A_STATUS,
    ADD_OBJECT,
    DATA,
    HELLO,
    INVOKE,
    LOOKUP,
    NOTIFY,
    STATUS,
    attribute,
    frame,
    named_number,
    named_text,
    number,
    text,
)


def test_wait_for_objects_that_are_there_returns_at_once(bus, owner):
    owner.add("other")

    assert ubus(bus, "wait_for", "demo", "other") == (0, "", "")


def test_wait_for_returns_once_all_objects_are_there(bus):
    owner = bus.client()
    command = start(bus, "wait_for", "first", "second")

    owner.add("unrelated")
    owner.add("first")
    assert command.poll() is None
    owner.add("second")

    assert result(command) == (0, "", "")


class HandmadeBroker:
    """Answers one client as its test says, so that the test knows how far the client is."""

    def __init__(self, bus):
        self.listener = bus.enter_context(socket.socket(socket.AF_UNIX))
        self.listener.bind(str(bus.path))
        self.listener.listen()
        self.listener.settimeout(PATIENCE)

    def greet(self, bus):
        connection, _ = self.listener.accept()
        bus.callback(connection.close)
        connection.sendall(frame(HELLO, 0, 0x12345678))
        return RawConnection(connection)


def expect(connection, kind, *answers):
    request = connection.frame()
    assert request.type == kind
    for answer_kind, payload in answers:
        connection.send(frame(answer_kind, request.sequence, request.peer, payload))
    return request


def waiting_command(bus, *options):
    """A command that has found nothing yet, and the other end of its connection."""
    broker = HandmadeBroker(bus)
    command = start(bus, *options, "wait_for", "first", "second")
    connection = broker.greet(bus)
    expect(connection, ADD_OBJECT, (DATA, number(A_ID, 5000)), (STATUS, number(A_STATUS, 0)))
    registration = expect(connection, INVOKE, (STATUS, number(A_STATUS, 0)))
    assert registration.peer == 1
    assert registration.attributes[A_METHOD] == b"register\0"
    assert registration.attributes[A_DATA] == (named_number("object", 5000) +
                                               named_text("pattern", "ubus.object.add"))
    lookup = expect(connection, LOOKUP, (STATUS, number(A_STATUS, 0)))
    assert lookup.payload == b""
    return command, connection


def test_wait_for_hears_of_objects_that_come_later(no_broker):
    command, connection = waiting_command(no_broker)

    for sequence, name in enumerate(["first", "unrelated", "first", "second"]):
        connection.send(frame(INVOKE, sequence, 0, number(A_ID, 5000) +
                              text(A_METHOD, "ubus.object.add") +
                              attribute(A_DATA, named_number("id", 1) + named_text("path", name))))
        answer = connection.frame()
        assert (answer.type, answer.sequence, answer.peer) == (STATUS, sequence, 0)
        if name != "second":
            assert command.poll() is None

    assert result(command) == (0, "", "")


def test_wait_for_goes_on_after_the_end_of_the_broker(no_broker):
    before = time.monotonic()
    command, connection = waiting_command(no_broker, "-t", "1")

    connection.close()

    assert result(command) == (7, "", "Command failed: Request timed out\n")
    assert time.monotonic() - before >= 1


def test_wait_for_ends_when_it_is_told_to(no_broker):
    command, _ = waiting_command(no_broker)

    def is_told():
        command.terminate()
        return command.poll() is not None

    # A signal that comes before the command waits is not heeded.
    until(is_told, "the end of the command")

    assert result(command) == (7, "", "Command failed: Request timed out\n")


def test_wait_for_times_out(bus, owner):
    assert ubus(bus, "-t", "1", "wait_for", "demo", "nothing") == (
        7, "", "Command failed: Request timed out\n")
    assert owner.settled()


@pytest.mark.parametrize("patterns", [[], ["*"], ["ubus.object.add", "ubus.object.remove"],
                                      ["ubus.*"]])
def test_listen_prints_events_until_it_is_ended(bus, patterns):
    command = start(bus, "listen", *patterns)
    coming, going = "ubus.object.add", "ubus.object.remove"
    # Objects come and go until the command has heard of some that went.
    heard = []
    os.set_blocking(command.stdout.fileno(), False)

    def hear():
        owner = bus.client()
        owner.add("probe")
        owner.close()
        heard.extend(command.stdout.readlines())
        return sum(going in line for line in heard) >= 2

    until(hear, "two objects that went")

    events = []
    for line in heard:
        [(event, details)] = json.loads(line).items()
        assert (event in (coming, going), details["path"]) == (True, "probe")
        events.append(event)
    # It may have begun to listen between a coming and a going, and to the comings first.
    complete = events[events.index(going):]
    assert complete == [(going, coming)[n % 2] for n in range(len(complete))]
    command.send_signal(signal.SIGTERM)
    assert command.wait(PATIENCE) == 0


@pytest.mark.parametrize("broker_goes", [False, True])
def test_listen_ends_with_its_time(no_broker, broker_goes):
    before = time.monotonic()
    broker = HandmadeBroker(no_broker)
    command = start(no_broker, "-t", "1", "listen")
    connection = broker.greet(no_broker)
    expect(connection, ADD_OBJECT, (DATA, number(A_ID, 5000)), (STATUS, number(A_STATUS, 0)))
    expect(connection, INVOKE, (STATUS, number(A_STATUS, 0)))

    if broker_goes:
        connection.close()

    assert result(command) == (0, "", "")
    assert time.monotonic() - before >= 1


# --- subscribe

def notify(owner, name, data=b""):
    owner.send(frame(NOTIFY, 1, 0, number(A_ID, owner.demo) + text(A_METHOD, name) +
                     attribute(A_NO_REPLY, b"\1") + attribute(A_DATA, data)))


def test_subscribe_prints_notifications_until_its_time_is_up(bus, owner):
    command = start(bus, "-t", "2", "subscribe", "demo")
    assert owner.frame().type == NOTIFY

    notify(owner, "state", named_text("state", "idle") + named_number("n", 5))
    notify(owner, "progress")

    assert result(command) == (0, '{ "state": {"state":"idle","n":5} }\n{ "progress": {} }\n', "")


def test_subscribe_knows_only_objects_that_are_there(bus):
    command = start(bus, "-t", "5", "subscribe", "demo")

    assert result(command) == (
        255, "", "Error while registering for event 'demo': Not found\n")


def test_subscribe_needs_a_path(bus):
    assert ubus(bus, "subscribe") == (255, "", "You need to specify an object to subscribe to\n")
