# SPDX-License-Identifier: Apache-2.0
"""The stand-in broker and its streams: odd pieces, and clients that do not take part."""
import socket

import pytest
from recorded_traffic import ADD_DEMO, LOOKUP_DEMO, listen

from openwrt.bus.wire import (
    A_DATA,
    A_ID,
    A_METHOD,
    A_STATUS,
    DATA,
    LOOKUP,
    PING,
    REMOVE_OBJECT,
    STATUS,
    attribute,
    frame,
    named,
    named_number,
    number,
)

LIMIT = 1048576


# --- the stream

def test_frames_in_single_bytes_are_understood(bus):
    client = bus.client()

    for byte in ADD_DEMO + LOOKUP_DEMO:
        client.send(bytes([byte]))

    assert [client.frame().type for _ in range(4)] == [DATA, STATUS, DATA, STATUS]


def test_many_frames_in_one_write_are_all_answered(bus):
    client = bus.client()

    client.send(ADD_DEMO + b"".join(frame(PING, n, 0) for n in range(2, 1000)) + LOOKUP_DEMO)

    assert [client.frame().type for _ in range(2000)] == [DATA, STATUS] * 1000


def test_length_that_is_no_multiple_of_four_ends_the_frame_all_the_same(bus):
    client = bus.client()

    client.send(frame(PING, 1, 0, b"\x07\0\0\5x") + frame(PING, 2, 0))

    assert client.frame().bytes == frame(DATA, 1, 0, b"\x07\0\0\5x")
    assert [client.frame().sequence for _ in range(3)] == [1, 2, 2]


def test_largest_frame_passes(bus):
    client = bus.client()
    largest = frame(PING, 1, 0, attribute(A_DATA, bytes(LIMIT - 8)))
    assert len(largest) == LIMIT + 8

    client.send(largest)

    assert client.frame().payload == largest[12:]
    assert client.frame().attributes == {A_STATUS: 0}


@pytest.mark.parametrize("length", [0, 3, LIMIT + 1, LIMIT + 4, 0xffffff])
def test_client_with_a_length_outside_the_limits_is_disconnected(bus, length):
    client, other = bus.client(), bus.client()
    client.add("demo")

    client.send(frame(PING, 1, 0)[:8] + length.to_bytes(4, "big"))

    assert client.closed_by_broker()
    assert other.request(LOOKUP) == ([], 0)


def test_frame_cut_off_by_the_end_is_not_carried_out(bus):
    client, other = bus.client(), bus.client()

    client.send(ADD_DEMO[:-4])
    client.socket.shutdown(socket.SHUT_WR)

    assert client.closed_by_broker()
    assert other.request(LOOKUP) == ([], 0)


# --- clients that do not take part

def test_what_a_client_leaves_unread_is_dropped_beyond_a_mebibyte_and_delays_nobody(bus):
    owner, caller = bus.client(), bus.client()
    caller.invoke(owner.add("demo"), "poll")
    call = owner.frame()
    megabyte = named(3, "text", bytes(1000000))

    for n in range(40):
        owner.reply(call, named_number("n", n) + megabyte)
        assert owner.settled()
    owner.finish(call)
    assert owner.settled()

    first = caller.frame()
    assert first.attributes[A_DATA] == named_number("n", 0) + megabyte
    assert caller.frame().type == STATUS
    assert caller.settled()


def test_client_that_reads_late_gets_what_waits_and_may_fall_behind_again(bus):
    owner, caller = bus.client(), bus.client()
    caller.invoke(owner.add("demo"), "poll")
    call = owner.frame()
    data = named(3, "text", bytes(80000))

    for _ in range(3):
        for _ in range(10):
            owner.reply(call, data)
        assert owner.settled()
        assert [caller.frame().attributes[A_DATA] for _ in range(10)] == [data] * 10


def test_end_of_objects_reaches_a_listener_that_is_too_slow_without_harm(bus):
    listening, owner = bus.client(), bus.client()
    listen(listening, "*")
    name = "x" * 100000

    for _ in range(120):
        demo = owner.add(name)
        assert owner.request(REMOVE_OBJECT, number(A_ID, demo))[1] == 0

    assert owner.settled()
    assert listening.frame().attributes[A_METHOD] == b"ubus.object.add\0"
