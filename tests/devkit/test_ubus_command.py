"""The stand-in command line, against objects that a client serves by hand."""
import contextlib
import json
import os
import signal
import socket
import struct
import subprocess
import time

import pytest
from bus_wire import (A_DATA, A_ID, A_METHOD, A_STATUS, ADD_OBJECT, ARRAY, DATA, DOUBLE, HELLO, INT8,
                      INT16, INT32, INT64, INVOKE, LOOKUP, PATIENCE, STATUS, STRING, TABLE, UBUS, Bus,
                      RawConnection, attribute, frame, method, named, named_number, named_text,
                      number, text, until)

POLL = method("poll", agent_id=STRING) + method("fail")


@pytest.fixture(name="bus")
def fixture_bus():
    with Bus() as bus:
        bus.start()
        yield bus


@pytest.fixture(name="no_broker")
def fixture_no_broker():
    with Bus() as bus:
        yield bus


@pytest.fixture(name="owner")
def fixture_owner(bus):
    owner = bus.client()
    owner.demo = owner.add("demo", POLL)
    return owner


def start(bus, *arguments, stdout=subprocess.PIPE, stderr=subprocess.PIPE):
    process = subprocess.Popen([UBUS, "-s", bus.path, *arguments], stdout=stdout, stderr=stderr,
                               text=True)
    bus.callback(end, process)
    return process


def end(process):
    """Leaves none behind, whatever its test came to."""
    with process:
        if process.poll() is None:
            process.kill()


def result(process):
    """What the command left: exit status, output, error output."""
    out, err = process.communicate(timeout=PATIENCE)
    return process.returncode, out, err


def ubus(bus, *arguments):
    return result(start(bus, *arguments))


def serve(owner, *replies, status=0):
    """Serves one call."""
    call = owner.frame()
    for reply in replies:
        owner.reply(call, reply)
    owner.finish(call, status)
    return call


# --- list

def test_list_is_in_the_order_of_the_names(bus):
    owner = bus.client()
    for name in ["b", "c", "a"]:
        owner.add(name)

    assert ubus(bus, "list") == (0, "a\nb\nc\n", "")


def test_list_of_an_empty_bus_is_empty(bus):
    assert ubus(bus, "list") == (0, "", "")


@pytest.mark.parametrize("path, names", [("net", "net\n"), ("net*", "net\nnet.lan\n"),
                                         ("net.*", "net.lan\n")])
def test_list_takes_a_name_or_the_start_of_names(bus, path, names):
    owner = bus.client()
    for name in ["net", "net.lan", "other"]:
        owner.add(name)

    assert ubus(bus, "list", path) == (0, names, "")


@pytest.mark.parametrize("path, status, reason", [("x", 4, "Not found"), ("x*", 4, "Not found"),
                                                  ("", 2, "Invalid argument")])
def test_list_without_match_fails(bus, path, status, reason):
    assert ubus(bus, "list", path) == (status, "", f"Command failed: {reason}\n")


@pytest.mark.parametrize("arguments", [["-v", "list"], ["list", "-v"], ["-v", "list", "demo"]])
def test_verbose_list_shows_methods_and_arguments(bus, owner, arguments):
    assert ubus(bus, *arguments) == (0, f"'demo' @{owner.demo:08x}\n"
                                        '\t"poll":{"agent_id":"String"}\n\t"fail":{}\n', "")


def test_verbose_list_names_every_type(bus):
    owner = bus.client()
    every = owner.add("every", method("m", a=ARRAY, t=TABLE, s=STRING, l=INT64, i=INT32, h=INT16,
                                      b=INT8, d=DOUBLE, n=0, x=99))

    status, out, _ = ubus(bus, "-v", "list", "every")

    assert status == 0
    first, second = out.splitlines()
    assert first == f"'every' @{every:08x}"
    assert json.loads("{" + second + "}") == {"m": {
        "a": "Array", "t": "Table", "s": "String", "l": "Integer", "i": "Integer", "h": "Integer",
        "b": "Boolean", "d": "Double", "n": "(unknown)", "x": "(unknown)"}}


# --- call

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

    message = f"Command failed: ubus call demo fail ({reason})\n"
    assert result(command) == (256 - status, "", message)
    assert result(simple) == (status, "", message)


def test_negative_status_of_a_call_is_reported(bus, owner):
    command = start(bus, "call", "demo", "fail")

    serve(owner, status=0xffffffff)

    assert result(command) == (1, "", "Command failed: ubus call demo fail (Unknown error: -1)\n")


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


@pytest.mark.parametrize("options", [[], ["-S"]])
def test_unknown_object_is_always_the_same(bus, options):
    assert ubus(bus, *options, "call", "nothing", "poll") == (4, "", "Command failed: Not found\n")


@pytest.mark.parametrize("options, status", [([], 244), (["-S"], 12)])
@pytest.mark.parametrize("argument", ["[1]", "5", "null", "", "{", '{"a"}'])
def test_argument_that_is_no_object_is_refused(bus, owner, options, status, argument):
    assert ubus(bus, *options, "call", "demo", "poll", argument) == (
        status, "", "Command failed: ubus call demo poll (Parsing message data failed)\n")
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

    assert result(command) == (7, "", "Command failed: ubus call demo poll (Request timed out)\n")


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


# --- wait_for and listen

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
    # Objects come and go until the command has heard of one.
    heard = []
    os.set_blocking(command.stdout.fileno(), False)

    def hear():
        owner = bus.client()
        owner.add("probe")
        owner.close()
        heard.extend(command.stdout.readlines())
        return len(heard) >= 2

    until(hear, "an event")

    event = json.loads(heard[0])
    assert list(event) == ["ubus.object.add"]
    assert event["ubus.object.add"]["path"] == "probe"
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


# --- the command itself

def test_output_that_cannot_be_written_is_an_error(bus, owner):
    with open("/dev/full", "w", encoding="ascii") as full:
        assert result(start(bus, "list", "demo", stdout=full)) == (
            1, None, "ubus: the output cannot be written\n")
    assert owner.settled()



@pytest.mark.parametrize("arguments", [["list"], ["call", "a", "b"], ["wait_for", "a"], ["listen"]])
def test_no_broker_is_an_error(tmp_path, arguments):
    command = subprocess.run([UBUS, "-s", tmp_path / "none", *arguments], capture_output=True,
                             text=True, timeout=PATIENCE, check=False)

    assert (command.returncode, command.stdout) == (255, "")
    assert command.stderr == "Failed to connect to ubus\n"


@pytest.mark.parametrize("arguments", [
    [], ["unknown"], ["-x", "list"], ["list", "a", "b"], ["call"], ["call", "a"],
    ["call", "a", "b", "{}", "d"], ["wait_for"], ["-t", "x", "list"], ["-t", "-1", "list"],
    ["-t", "", "list"], ["-t", "99999999999", "list"], ["-t"]])
def test_wrong_command_line_is_an_error(arguments):
    command = subprocess.run([UBUS, *arguments], capture_output=True, text=True, timeout=PATIENCE,
                             check=False)

    assert (command.returncode, command.stdout) == (1, "")
    assert "Usage: ubus [-s socket]" in command.stderr
