# SPDX-License-Identifier: Apache-2.0
"""The stand-in broker, byte for byte: objects, and looking them up."""
import pytest
from recorded_traffic import ADD_DEMO, LOOKUP_DEMO, NAME, SIGNATURE, add_demo

from bus_bench import method, until, words
from openwrt.bus.wire import (
    A_ID,
    A_PATH,
    A_SIGNATURE,
    A_TYPE,
    ADD_OBJECT,
    LOOKUP,
    REMOVE_OBJECT,
    attribute,
    named,
    named_number,
    named_text,
    number,
    text,
)

# --- objects

def test_recorded_registration_is_answered_as_it_was(bus):
    client = bus.client()

    object_hex, type_hex = add_demo(client)
    client.send(ADD_DEMO)

    assert client.frame().bytes == words("00010001 00000000 0000000c 01000008 00000002")
    client.send(words(f"00070002 00000000 0000000c 03000008 {object_hex}"))
    assert client.frame().bytes == words(f"00020002 00000000 00000014 03000008 {object_hex}"
                                         f"05000008 {type_hex}")
    assert client.frame().bytes == words("00010002 00000000 0000000c 01000008 00000000")


def test_name_of_another_client_is_refused_until_it_leaves(bus):
    first, second = bus.client(), bus.client()
    first.add("demo")

    assert second.request(ADD_OBJECT, ADD_DEMO[12:]) == ([], 2)
    first.close()

    assert second.request(ADD_OBJECT, ADD_DEMO[12:])[1] == 0


def test_name_is_free_for_every_client_that_was_there_before(bus):
    clients = [bus.client() for _ in range(12)]

    for client in clients:
        client.add("demo")
        client.close()

    assert bus.client().request(LOOKUP) == ([], 0)


@pytest.mark.parametrize("more", [
    number(A_TYPE, 4711),
    attribute(A_SIGNATURE, method("m") + b"\0\0\0\1"),
    attribute(A_SIGNATURE, attribute(2, b"")),
    attribute(A_SIGNATURE, words("0200000c 00046661 696c0000")),
    attribute(A_SIGNATURE, words("8200000c 00046661 696c0000 82000002")),
    attribute(A_SIGNATURE, words("85000008 00016e00")),
], ids=["unknown type", "broken list", "no name", "method without name", "broken method", "number without value"])
def test_object_whose_type_makes_no_sense_has_none(bus, more):
    client = bus.client()

    data, status = client.request(ADD_OBJECT, text(A_PATH, "a") + more)

    assert (status, list(data[0].attributes)) == (0, [A_ID])
    assert client.request(LOOKUP, text(A_PATH, "a")) == ([], 0)
    assert client.request(ADD_OBJECT, text(A_PATH, "a")) == ([], 2)


@pytest.mark.parametrize("signature", [
    named_number("no table", 1), named(2, "m", named_text("argument", "String")), words("8100000c 00046661 696c0000"),
    words("82000014 00016d00 8500000a 00016100 00030000"), words("8200000c 00016d00 85000000")],
    ids=["method that is a number", "argument that is a string", "method that is an array", "argument of two bytes",
         "broken argument"])
def test_what_a_signature_holds_is_passed_on_unread(bus, signature):
    client = bus.client()

    assert client.request(ADD_OBJECT, text(A_PATH, "a") + attribute(A_SIGNATURE, signature))[1] == 0

    assert client.request(LOOKUP)[0][0].attributes[A_SIGNATURE] == signature


def test_name_may_be_empty_but_cannot_be_looked_up(bus):
    client = bus.client()

    assert client.request(ADD_OBJECT, text(A_PATH, ""))[1] == 0

    assert client.request(LOOKUP, text(A_PATH, "")) == ([], 2)
    assert client.request(ADD_OBJECT, text(A_PATH, "")) == ([], 2)


def test_type_is_shared_by_number_and_ends_with_its_last_object(bus):
    client = bus.client()
    object_hex, type_hex = add_demo(client)
    same_type = number(A_TYPE, int(type_hex, 16))

    data, status = client.request(ADD_OBJECT, text(A_PATH, "twin") + same_type)

    assert status == 0
    twin = data[0].attributes[A_ID]
    assert data[0].payload == number(A_ID, twin)
    assert client.request(LOOKUP, text(A_PATH, "twin"))[0][0].payload == (
        text(A_PATH, "twin") + number(A_ID, twin) + same_type + words(SIGNATURE))
    guest = bus.client()
    assert guest.request(ADD_OBJECT, text(A_PATH, "guest") + same_type)[1] == 0
    assert guest.request(REMOVE_OBJECT, number(A_ID, int(object_hex, 16))) == ([], 6)
    guest.close()
    until(lambda: client.request(LOOKUP, text(A_PATH, "guest")) == ([], 4), "the end of the guest")
    removed = [client.request(REMOVE_OBJECT, number(A_ID, gone))[0][0].payload
               for gone in (int(object_hex, 16), twin)]
    assert removed == [words(f"03000008 {object_hex}"), number(A_ID, twin) + same_type]
    assert list(client.request(ADD_OBJECT, text(A_PATH, "late") + same_type)[0][0].attributes) == [A_ID]


def test_object_without_name_is_not_listed(bus):
    client = bus.client()

    data, status = client.request(ADD_OBJECT)

    assert status == 0
    assert list(data[0].attributes) == [A_ID]
    assert client.request(LOOKUP) == ([], 0)


def test_object_without_type_has_its_name_but_is_not_listed(bus):
    client = bus.client()

    assert client.request(ADD_OBJECT, text(A_PATH, "bare"))[1] == 0

    assert client.request(LOOKUP, text(A_PATH, "bare")) == ([], 0)
    assert client.request(ADD_OBJECT, text(A_PATH, "bare")) == ([], 2)


def test_only_the_owner_removes_an_object(bus):
    owner, other = bus.client(), bus.client()
    demo = owner.add("demo")

    assert other.request(REMOVE_OBJECT, number(A_ID, demo)) == ([], 6)
    assert other.request(REMOVE_OBJECT, number(A_ID, demo ^ 1)) == ([], 4)
    assert other.request(REMOVE_OBJECT) == ([], 2)
    assert len(other.request(LOOKUP, text(A_PATH, "demo"))[0]) == 1
    assert owner.request(REMOVE_OBJECT, number(A_ID, demo))[1] == 0
    assert owner.request(REMOVE_OBJECT, number(A_ID, demo)) == ([], 4)


# --- looking up

def test_recorded_lookup_is_answered_as_it_was(bus):
    object_hex, type_hex = add_demo(bus.client())
    caller = bus.client()

    caller.send(LOOKUP_DEMO)

    assert caller.frame().bytes == words("00020001 00000000 00000050" + NAME +
                                         f"03000008 {object_hex} 05000008 {type_hex}" + SIGNATURE)
    assert caller.frame().bytes == words("00010001 00000000 0000000c 01000008 00000000")


def test_recorded_lookup_of_nothing_is_answered_as_it_was(bus):
    caller = bus.client()

    caller.send(LOOKUP_DEMO)

    assert caller.frame().bytes == words("00010001 00000000 0000000c 01000008 00000004")


@pytest.mark.parametrize("path, names", [
    ("net", ["net"]), ("net*", ["net", "net.lan", "net.wan"]), ("net.*", ["net.lan", "net.wan"]),
    ("*", ["Zebra", "a", "net", "net.lan", "net.wan", "\u00e4"]),
    (None, ["Zebra", "a", "net", "net.lan", "net.wan", "\u00e4"])])
def test_lookup_lists_matches_in_the_order_of_their_bytes(bus, path, names):
    owner = bus.client()
    for name in ["net.wan", "\u00e4", "a", "net", "Zebra", "net.lan"]:
        owner.add(name)

    data, status = bus.client().request(LOOKUP, text(A_PATH, path) if path else b"")

    assert status == 0
    assert [answer.attributes[A_PATH].decode().rstrip("\0") for answer in data] == names


@pytest.mark.parametrize("path, status", [("", 2), ("x", 4), ("x*", 4), ("demo.", 4)])
def test_lookup_without_match_has_a_status(bus, path, status):
    bus.client().add("demo")

    assert bus.client().request(LOOKUP, text(A_PATH, path)) == ([], status)


def test_path_that_does_not_end_is_none(bus):
    bus.client().add("demo")

    data, status = bus.client().request(LOOKUP, attribute(A_PATH, b"nothing"))

    assert (len(data), status) == (1, 0)
