# SPDX-License-Identifier: Apache-2.0
"""The stand-in command line: calls, against objects that a client serves by hand."""
import contextlib
import os
import struct
import time

import pytest
from ubus_command import result, serve, start, ubus

from openwrt.bus.wire import A_DATA, A_METHOD, ARRAY, DOUBLE, INT8, INT64, TABLE, named, named_number, named_text


def test_call_without_arguments_sends_an_empty_list(bus, owner):
    command = start(bus, "call", "demo", "poll")

    call = serve(owner)

    assert call.attributes[A_METHOD] == b"poll\0"
    assert call.attributes[A_DATA] == b""
    assert result(command) == (0, "", "")


def test_call_sends_arguments_by_name_and_type(bus, owner):
    command = start(bus, "call", "demo", "poll",
                    '{"s":"gw","i":-7,"l":4294967296,"d":1.5,"b":true,"n":null,"a":[1,"x"],"t":{}}')

    call = serve(owner)

    assert call.attributes[A_DATA] == (
        named_text("s", "gw") + named_number("i", -7) +
        named(INT64, "l", struct.pack(">q", 1 << 32)) + named(DOUBLE, "d", struct.pack(">d", 1.5)) +
        named(INT8, "b", b"\1") + named(0, "n") +
        named(ARRAY, "a", named_number("", 1) + named_text("", "x")) + named(TABLE, "t"))
    assert result(command) == (0, "", "")


REPLY = (named(INT8, "ok", b"\1") + named_text("s", 'a"b\n') + named_number("n", -7) +
         named(ARRAY, "a", named_number("", 1) + named_text("", "x")) + named(0, "z"))


def test_reply_is_indented_with_tabs(bus, owner):
    command = start(bus, "call", "demo", "poll")

    serve(owner, REPLY)

    assert result(command) == (0, '{\n\t"ok": true,\n\t"s": "a\\"b\\n",\n\t"n": -7,\n\t"a": [\n'
                                  '\t\t1,\n\t\t"x"\n\t],\n\t"z": null\n}\n', "")


def test_simple_reply_is_one_line(bus, owner):
    command = start(bus, "-S", "call", "demo", "poll")

    serve(owner, REPLY)

    assert result(command) == (0, '{"ok":true,"s":"a\\"b\\n","n":-7,"a":[1,"x"],"z":null}\n', "")


@pytest.mark.parametrize("options, output", [([], "{\n\t\n}\n"), (["-S"], "{}\n")])
def test_empty_reply_is_an_empty_table(bus, owner, options, output):
    command = start(bus, *options, "call", "demo", "poll")

    serve(owner, b"")

    assert result(command) == (0, output, "")


def test_each_reply_is_printed(bus, owner):
    command = start(bus, "-S", "call", "demo", "poll")

    serve(owner, named_number("n", 1), named_number("n", 2), named_text("t", "x" * 500000))

    assert result(command) == (0, '{"n":1}\n{"n":2}\n{"t":"' + "x" * 500000 + '"}\n', "")


REASONS = [(1, "Invalid command"), (2, "Invalid argument"), (3, "Method not found"),
           (4, "Not found"), (5, "No response"), (6, "Permission denied"), (7, "Request timed out"),
           (8, "Operation not supported"), (9, "Unknown error"), (10, "Connection failed"),
           (11, "Out of memory"), (12, "Parsing message data failed"), (13, "System error"),
           (99, "Unknown error: 99")]


@pytest.mark.parametrize("status, reason", REASONS)
def test_status_of_a_call_is_reported(bus, owner, status, reason):
    command = start(bus, "call", "demo", "fail")
    serve(owner, status=status)
    simple = start(bus, "-S", "call", "demo", "fail")
    serve(owner, status=status)

    returned, out, err = result(command)
    assert (returned, out) == (256 - status, "")
    assert err.startswith(f"Command failed: ubus call demo fail ({reason})\n")
    # The command takes this status for a mistake in its own arguments.
    assert ("Usage: " in err) == (status == 2)
    assert result(simple) == (status, "", "")


def test_negative_status_of_a_call_is_reported(bus, owner):
    command = start(bus, "call", "demo", "fail")

    serve(owner, status=0xffffffff)

    assert result(command) == (1, "", "Command failed: ubus call demo fail (Unknown error: -1)\n"
                                      "Command failed: Invalid command\n")


@contextlib.contextmanager
def terminal():
    """Both ends of a terminal: the one for the command, and the one to read from."""
    ours, theirs = os.openpty()
    try:
        yield theirs, ours
    finally:
        os.close(ours)
        os.close(theirs)


def test_status_of_a_call_is_reported_to_people(bus, owner):
    with terminal() as (theirs, ours):
        command = start(bus, "call", "demo", "fail", stderr=theirs)

        serve(owner, status=8)

        assert result(command)[:2] == (8, "")
        assert os.read(ours, 4096) == b"Command failed: Operation not supported\r\n"


@pytest.mark.parametrize("options, message", [([], "Command failed: Not found\n"), (["-S"], "")])
def test_unknown_object_has_the_same_status_for_all(bus, options, message):
    assert ubus(bus, *options, "call", "nothing", "poll") == (4, "", message)


@pytest.mark.parametrize("name", ["demo", "nothing"])
@pytest.mark.parametrize("argument", ["[1]", "5", "null", "", "{", '{"a"}'])
def test_argument_that_is_no_object_is_refused(bus, owner, name, argument):
    assert ubus(bus, "call", name, "poll", argument) == (
        244, "", f"Command failed: ubus call {name} poll {argument} (Parsing message data failed)\n")
    assert ubus(bus, "-S", "call", name, "poll", argument) == (12, "", "")
    assert owner.settled()


def test_call_times_out(bus, owner):
    before = time.monotonic()
    command = start(bus, "-t", "1", "call", "demo", "poll")

    owner.frame()

    assert result(command) == (249, "", "Command failed: ubus call demo poll (Request timed out)\n")
    assert time.monotonic() - before >= 1


def test_call_keeps_waiting_when_the_owner_leaves(bus, owner):
    command = start(bus, "-t", "1", "-S", "call", "demo", "poll")

    owner.frame()
    owner.close()

    assert result(command) == (7, "", "")


def test_replies_before_the_time_is_up_are_printed(bus, owner):
    command = start(bus, "-t", "1", "-S", "call", "demo", "poll")

    owner.reply(owner.frame(), named_number("n", 1))

    assert result(command)[:2] == (7, '{"n":1}\n')


def test_calls_that_are_under_way_together_get_their_own_replies(bus, owner):
    commands = [start(bus, "-S", "call", "demo", "poll", f'{{"n":{n}}}') for n in range(6)]

    calls = [owner.frame() for _ in commands]
    for call in reversed(calls):
        owner.reply(call, call.attributes[A_DATA])
        owner.finish(call)

    assert [result(command) for command in commands] == [
        (0, f'{{"n":{n}}}\n', "") for n in range(6)]


def test_call_that_waits_survives_the_request_to_end(bus, owner):
    command = start(bus, "call", "demo", "poll")
    call = owner.frame()

    command.terminate()
    owner.reply(call, named_number("n", 1))
    owner.finish(call)

    assert result(command) == (0, '{\n\t"n": 1\n}\n', "")
