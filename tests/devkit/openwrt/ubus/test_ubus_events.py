# SPDX-License-Identifier: Apache-2.0
"""The stand-in command line: waiting for objects, and listening to events."""
import json
import os
import signal
import socket

import pytest
from ubus_command import result, start, ubus

from bus_bench import PATIENCE, RawConnection, until
from openwrt.bus.wire import (
    A_DATA,
    A_ID,
    A_METHOD,
    A_STATUS,
    ADD_OBJECT,
    DATA,
    HELLO,
    INVOKE,
    LOOKUP,
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


def waiting_command(bus):
    """A command that has found nothing yet, and the other end of its connection."""
    broker = HandmadeBroker(bus)
    command = start(bus, "wait_for", "first", "second")
    connection = broker.greet(bus)
    expect(connection, ADD_OBJECT, (DATA, number(A_ID, 5000)), (STATUS, number(A_STATUS, 0)))
    registration = expect(connection, INVOKE, (STATUS, number(A_STATUS, 0)))
    assert registration.peer == 1
    assert registration.attributes[A_METHOD] == b"register\0"
    assert registration.attributes[A_DATA] == (named_number("object", 5000) +
                                               named_text("pattern", "ubus.object.add"))
    for _ in range(2):
        expect(connection, LOOKUP, (STATUS, number(A_STATUS, 4)))
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


def test_wait_for_notices_the_end_of_the_broker(no_broker):
    command, connection = waiting_command(no_broker)

    connection.close()

    assert result(command) == (10, "", "Command failed: Connection failed\n")


def test_wait_for_ends_when_it_is_told_to(no_broker):
    command, _ = waiting_command(no_broker)

    command.terminate()

    assert command.wait(PATIENCE) == -signal.SIGTERM


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
    assert command.wait(PATIENCE) == -signal.SIGTERM


def test_listen_ends_when_nobody_takes_the_events(bus):
    with open("/dev/full", "w", encoding="ascii") as full:
        command = start(bus, "listen", stdout=full)

        def has_ended():
            owner = bus.client()
            owner.add("probe")
            owner.close()
            return command.poll() is not None

        until(has_ended, "the end of the command")

    assert result(command) == (1, None, "ubus: the output cannot be written\n")
