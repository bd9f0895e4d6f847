# SPDX-License-Identifier: Apache-2.0
"""The stand-in broker, byte for byte: calls between its clients."""
import os
import pwd

import pytest
from recorded_traffic import GATEWAY_ARGUMENT, ROOT_NAMES, add_demo, poll_call

from bus_bench import until, words
from openwrt.bus.wire import (
    A_DATA,
    A_GROUP,
    A_ID,
    A_METHOD,
    A_NO_REPLY,
    A_STATUS,
    A_USER,
    DATA,
    INVOKE,
    LOOKUP,
    STATUS,
    attribute,
    frame,
    named_number,
    number,
    text,
)


@pytest.mark.skipif(os.getuid() != 0, reason="the traffic was recorded as root")
def test_recorded_call_travels_as_it_did(bus):
    owner, caller = bus.client(), bus.client()
    object_hex, _ = add_demo(owner)

    caller.send(poll_call(object_hex))

    call = owner.frame()
    assert call.bytes == words(f"00050002 {caller.id:08x} 00000048 03000008 {object_hex} 04000009"
                               "706f6c6c 00000000" + ROOT_NAMES + GATEWAY_ARGUMENT)
    reply = words("03000008" + object_hex + "07000054 8700000d 00026f6b 00000000 01000000 8300000c"
                  "00017300 61626300 8500000c 00016e00 00000007 81000020 00016100 8500000c 00000000"
                  "00000001 8300000a 00000000 78000000 80000008 00017a00")
    owner.send(words(f"00020002 {caller.id:08x} 00000060") + reply)
    assert caller.frame().bytes == words(f"00020002 {object_hex} 00000060") + reply
    status = words("01000008 00000000 03000008" + object_hex)
    owner.send(words(f"00010002 {caller.id:08x} 00000014") + status)
    assert caller.frame().bytes == words(f"00010002 {object_hex} 00000014") + status


def test_owner_learns_who_calls_and_gets_empty_arguments(bus):
    owner, caller = bus.client(), bus.client()
    object_hex, _ = add_demo(owner)

    caller.send(poll_call(object_hex, "07000004"))

    call = owner.frame()
    assert (call.type, call.sequence, call.peer) == (INVOKE, 2, caller.id)
    assert call.attributes[A_USER] == pwd.getpwuid(os.getuid()).pw_name.encode() + b"\0"
    assert A_GROUP in call.attributes
    assert call.payload.endswith(words("07000004"))


def test_call_without_arguments_attribute_is_passed_on_without(bus):
    owner, caller = bus.client(), bus.client()
    demo = owner.add("demo")

    caller.send(frame(INVOKE, 7, demo, number(A_ID, demo) + text(A_METHOD, "poll")))

    assert A_DATA not in owner.frame().attributes


def test_flag_for_no_reply_does_not_reach_the_owner(bus):
    owner, caller = bus.client(), bus.client()
    demo = owner.add("demo")

    caller.invoke(demo, "poll", more=attribute(A_NO_REPLY, b"\1"))

    assert A_NO_REPLY not in owner.frame().attributes
    assert caller.settled()


def test_refused_calls_are_answered_as_they_were_addressed(bus):
    owner, caller = bus.client(), bus.client()
    demo = owner.add("demo")
    unknown = demo ^ 1

    refused = [frame(INVOKE, 5, demo, number(A_ID, demo) + attribute(A_DATA, b"")),
               frame(INVOKE, 6, demo, text(A_METHOD, "poll") + attribute(A_DATA, b"")),
               frame(INVOKE, 7, demo, attribute(A_ID, b"\0") + text(A_METHOD, "poll")),
               frame(INVOKE, 8, unknown, number(A_ID, unknown) + text(A_METHOD, "poll"))]
    caller.send(b"".join(refused))

    answers = [caller.frame() for _ in refused]
    assert [(a.type, a.sequence, a.peer) for a in answers] == [
        (STATUS, 5, demo), (STATUS, 6, demo), (STATUS, 7, demo), (STATUS, 8, unknown)]
    assert [a.payload for a in answers] == [number(A_STATUS, n) for n in (2, 2, 2, 4)]
    assert owner.settled()


def test_several_replies_keep_their_order(bus):
    owner, caller = bus.client(), bus.client()
    demo = owner.add("demo")
    sequence = caller.invoke(demo, "poll")
    call = owner.frame()

    for value in range(20):
        owner.reply(call, named_number("n", value))
    owner.finish(call, 0xffffffff)

    answers = [caller.frame() for _ in range(21)]
    assert [a.attributes[A_DATA] for a in answers[:-1]] == [
        named_number("n", value) for value in range(20)]
    assert answers[-1].attributes[A_STATUS] == 0xffffffff
    assert {(a.sequence, a.peer) for a in answers} == {(sequence, demo)}


def test_owner_that_leaves_leaves_the_caller_without_answer(bus):
    owner, caller = bus.client(), bus.client()
    caller.invoke(owner.add("demo"), "poll")
    owner.frame()

    owner.close()

    until(lambda: caller.request(LOOKUP) == ([], 0), "the end of the object")


def test_answers_for_a_caller_that_left_are_dropped(bus):
    owner, caller = bus.client(), bus.client()
    caller.invoke(owner.add("demo"), "poll")
    call = owner.frame()

    caller.close()
    owner.reply(call, named_number("n", 1))
    owner.finish(call)

    assert owner.settled()
    assert bus.client().settled()


def test_owner_that_leaves_before_its_answer_was_read_is_not_heard(bus):
    owner, caller = bus.client(), bus.client()
    caller.invoke(owner.add("demo"), "poll")
    call = owner.frame()

    with bus.paused():
        owner.reply(call, named_number("n", 1))
        owner.finish(call)
        owner.close()

    until(lambda: bus.client().request(LOOKUP) == ([], 0), "the end of the object")
    assert caller.settled()


def test_answers_in_somebody_elses_name_and_incomplete_ones_are_dropped(bus):
    owner, forger, caller = bus.client(), bus.client(), bus.client()
    demo, own = owner.add("demo"), forger.add("own")
    sequence = caller.invoke(demo, "poll")
    call = owner.frame()

    forger.reply(call, named_number("forged", 1))
    forger.finish(call)
    for kind, payload in [(DATA, number(A_ID, own)), (STATUS, number(A_ID, own)),
                          (DATA, attribute(A_DATA, b"")), (STATUS, number(A_STATUS, 0)),
                          (DATA, number(A_ID, own) + number(A_STATUS, 0))]:
        forger.send(frame(kind, call.sequence, call.peer, payload))
    assert forger.settled()
    owner.finish(call)

    answer = caller.frame()
    assert (answer.type, answer.sequence, answer.peer) == (STATUS, sequence, demo)
    assert caller.settled()


def test_last_valid_attribute_of_a_kind_counts_in_any_order(bus):
    owner, caller = bus.client(), bus.client()
    demo = owner.add("demo")

    caller.send(frame(INVOKE, 1, demo, attribute(A_DATA, b"") + text(A_METHOD, "first") +
                      attribute(99, b"unknown") + number(A_ID, 1) + text(A_METHOD, "poll") +
                      number(A_ID, demo) + attribute(A_ID, b"odd") + attribute(A_METHOD, b"odd")))

    assert owner.frame().attributes[A_METHOD] == b"poll\0"


def test_call_to_an_object_of_ones_own_goes_out_and_comes_back(bus):
    client = bus.client()
    demo = client.add("demo")

    client.invoke(demo, "poll")
    call = client.frame()
    client.finish(call, 3)

    assert call.peer == client.id
    assert (answer := client.frame()).attributes == {A_STATUS: 3, A_ID: demo}
    assert answer.peer == demo
