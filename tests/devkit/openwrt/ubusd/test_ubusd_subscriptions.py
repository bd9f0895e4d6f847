# SPDX-License-Identifier: Apache-2.0
"""The broker, byte for byte: who subscribes to an object, and what its owner notifies them of."""
import pytest

from openwrt.bus.wire import (
    A_ACTIVE,
    A_DATA,
    A_GROUP,
    A_ID,
    A_METHOD,
    A_NO_REPLY,
    A_STATUS,
    A_SUBSCRIBERS,
    A_TARGET,
    A_USER,
    INVOKE,
    NOTIFY,
    REMOVE_OBJECT,
    STATUS,
    SUBSCRIBE,
    UNSUBSCRIBE,
    attribute,
    frame,
    named_number,
    number,
    text,
)

SILENTLY = attribute(A_NO_REPLY, b"\1")


@pytest.fixture(name="reader")
def fixture_reader(bus):
    """A client with an object that may hear."""
    reader = bus.client()
    reader.object = reader.add()
    return reader


def subscription(reader, target):
    return number(A_ID, reader.object) + number(A_TARGET, target)


def subscribe(reader, owner):
    """Subscribes as the first one, of which the owner is told."""
    assert reader.request(SUBSCRIBE, subscription(reader, owner.demo))[1] == 0
    assert owner.frame().type == NOTIFY


def is_told(owner, active):
    told = owner.frame()
    assert (told.type, told.peer) == (NOTIFY, 0)
    assert told.payload == number(A_ID, owner.demo) + attribute(A_ACTIVE, b"\1" if active else b"\0")


def heard_by(reader, method, data=b"", silently=True):
    heard = reader.frame()
    assert heard.type == INVOKE
    found = heard.attributes
    assert list(found) == ([A_NO_REPLY] if silently else []) + [A_ID, A_METHOD, A_USER, A_GROUP] + (
        [A_DATA] if data else [])
    assert found[A_ID] == reader.object
    assert found[A_METHOD] == method
    assert found.get(A_DATA, b"") == data
    return heard


def test_owner_is_told_of_the_first_subscriber_and_of_the_end_of_the_last(bus, owner, reader):
    assert reader.request(SUBSCRIBE, subscription(reader, owner.demo))[1] == 0
    is_told(owner, True)
    assert reader.request(SUBSCRIBE, subscription(reader, owner.demo))[1] == 0
    assert owner.settled()

    assert reader.request(UNSUBSCRIBE, subscription(reader, owner.demo))[1] == 0
    assert owner.settled()
    assert reader.request(UNSUBSCRIBE, subscription(reader, owner.demo))[1] == 0
    is_told(owner, False)


def test_subscriber_that_leaves_counts_no_more(owner, reader):
    subscribe(reader, owner)

    reader.close()

    is_told(owner, False)


def test_subscribers_hear_silently_without_an_answer_to_the_owner(owner, reader):
    subscribe(reader, owner)
    data = named_number("x", 5)

    owner.send(frame(NOTIFY, 7, 0, number(A_ID, owner.demo) + text(A_METHOD, "state") + SILENTLY +
                     attribute(A_DATA, data)))

    assert heard_by(reader, b"state\0", data).sequence == 7
    assert owner.settled()


def test_owner_that_waits_for_replies_is_told_of_the_subscribers(owner, reader):
    subscribe(reader, owner)

    owner.send(frame(NOTIFY, 7, 0, number(A_ID, owner.demo) + text(A_METHOD, "state")))

    answer = owner.frame()
    assert (answer.type, answer.sequence) == (STATUS, 7)
    assert answer.payload == (number(A_ID, owner.demo) + attribute(A_SUBSCRIBERS, number(0, reader.object)) +
                              number(A_STATUS, 0))
    heard_by(reader, b"state\0", silently=False)


def test_subscriber_hears_once_for_each_subscription(owner, reader):
    subscribe(reader, owner)
    assert reader.request(SUBSCRIBE, subscription(reader, owner.demo))[1] == 0

    owner.send(frame(NOTIFY, 7, 0, number(A_ID, owner.demo) + text(A_METHOD, "state") + SILENTLY))

    heard_by(reader, b"state\0")
    heard_by(reader, b"state\0")
    assert reader.settled()


def test_subscribers_hear_of_the_end_of_the_object(owner, reader):
    subscribe(reader, owner)

    owner.close()

    ended = reader.frame()
    assert (ended.type, ended.peer) == (UNSUBSCRIBE, 0)
    assert ended.payload == number(A_ID, reader.object) + number(A_TARGET, owner.demo)


def test_owner_that_removes_the_object_is_told_that_nobody_listens(owner, reader):
    subscribe(reader, owner)

    owner.send(frame(REMOVE_OBJECT, 9, 0, number(A_ID, owner.demo)))

    assert [owner.frame().type for _ in range(3)] == [2, NOTIFY, STATUS]
    assert reader.frame().type == UNSUBSCRIBE


def test_subscriptions_are_checked(bus, owner, reader):
    demo, own = owner.demo, reader.object

    def status(kind, payload):
        return reader.request(kind, payload)[1]

    assert status(SUBSCRIBE, number(A_ID, own)) == 2
    assert status(SUBSCRIBE, number(A_TARGET, demo)) == 2
    assert status(SUBSCRIBE, number(A_ID, own) + number(A_TARGET, demo ^ 1)) == 4
    assert status(SUBSCRIBE, number(A_ID, demo) + number(A_TARGET, own)) == 2
    assert status(SUBSCRIBE, number(A_ID, own) + number(A_TARGET, own)) == 2
    assert status(NOTIFY, number(A_ID, demo) + text(A_METHOD, "state")) == 6
    assert status(NOTIFY, number(A_ID, own)) == 2
    assert status(NOTIFY, number(A_ID, demo ^ 1) + text(A_METHOD, "state")) == 4
    assert owner.settled()
