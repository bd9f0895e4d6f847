"""The stand-in broker, byte for byte, against clients that speak the wire format by hand."""
import os
import pwd
import signal
import socket
import stat
import subprocess

import pytest
from bus_wire import (A_DATA, A_GROUP, A_ID, A_METHOD, A_NO_REPLY, A_PATH, A_SIGNATURE, A_STATUS,
                      A_TYPE, A_USER, ADD_OBJECT, DATA, HELLO, INVOKE, LOOKUP, PATIENCE, PING,
                      REMOVE_OBJECT, SANITIZED, STATUS, UBUS, UBUSD, Bus, attribute, frame, method,
                      named, named_number, named_text, number, text, until, words)

LIMIT = 1048576
# In a chroot only root may have mounts of its own, and only as itself.
OWN_MOUNTS = ["unshare", "--mount"] + ([] if os.geteuid() == 0 else ["--map-root-user"])

# What a real client and a real broker said to each other about an object with a method "poll" that
# takes a string, and a method "fail".
NAME = "02000009 64656d6f 00000000"
SIGNATURE = ("06000030 82000020 0004706f 6c6c0000 85000014 00086167 656e745f 69640000 00000003"
             "8200000c 00046661 696c0000")
ADD_DEMO = words("00060001 00000000 00000040" + NAME + SIGNATURE)
LOOKUP_DEMO = words("00040001 00000000 00000010" + NAME)
GATEWAY_ARGUMENT = "07000018 83000013 00086167 656e745f 69640000 67770000"
ROOT_NAMES = "0c000009 726f6f74 00000000 0d000009 726f6f74 00000000"


@pytest.fixture(name="bus")
def fixture_bus():
    with Bus() as bus:
        bus.start()
        yield bus


def add_demo(client):
    """Object and type of the recorded object, as eight hexadecimal digits each."""
    client.send(ADD_DEMO)
    data, status = client.frame(), client.frame()
    object_id, type_id = data.attributes[A_ID], data.attributes[A_TYPE]
    assert data.bytes == words(f"00020001 00000000 00000014 03000008 {object_id:08x} 05000008 "
                               f"{type_id:08x}")
    assert status.bytes == words("00010001 00000000 0000000c 01000008 00000000")
    client.sequence = 1
    return f"{object_id:08x}", f"{type_id:08x}"


def poll_call(object_hex, arguments=GATEWAY_ARGUMENT):
    data = words(arguments)
    return words(f"00050002 {object_hex} {0x18 + len(data):08x} 03000008 {object_hex} 04000009"
                 "706f6c6c 00000000") + data


# --- connections

def test_greeting_has_the_clients_id_and_nothing_else(bus):
    clients = [bus.client() for _ in range(8)]

    for client in clients:
        assert client.greeting == words(f"00000000 {client.id:08x} 00000004")
        assert client.id >= 1024
    assert len({client.id for client in clients}) == 8


def test_socket_is_open_to_everybody_and_removed_at_the_end(bus):
    assert stat.S_IMODE(os.stat(bus.path).st_mode) == 0o666

    bus.stop()

    assert not bus.path.exists()


def test_clients_see_the_end_of_the_broker(bus):
    client = bus.client()

    bus.process.send_signal(signal.SIGINT)

    assert client.closed_by_broker()
    assert bus.process.wait(PATIENCE) == 0
    assert not bus.path.exists()


def test_second_broker_takes_the_path_over_and_keeps_it(bus):
    first, old = bus.process, bus.client()
    old.add("old")

    bus.start()
    new = bus.client()

    assert new.request(LOOKUP) == ([], 0)
    assert old.request(LOOKUP, text(A_PATH, "old"))[1] == 0
    first.terminate()
    assert first.wait(PATIENCE) == 0
    assert bus.client().request(LOOKUP) == ([], 0)


def test_what_is_no_socket_is_not_removed(tmp_path):
    path = tmp_path / "file"
    path.write_text("content", encoding="utf-8")

    broker = subprocess.run([UBUSD, "-s", path], capture_output=True, text=True, timeout=PATIENCE,
                            check=False)

    assert broker.returncode == 1
    assert broker.stderr == f"ubusd: cannot listen on {path}: Address already in use\n"
    assert path.read_text(encoding="utf-8") == "content"


def test_default_path_is_made_with_its_directory():
    script = f"""
        mount -t tmpfs none /run
        '{UBUSD}' & broker=$!
        until '{UBUS}' list; do kill -0 $broker || exit 1; sleep 0.05; done 2>/dev/null
        stat -c '%a %F %n' /run/ubus /run/ubus/ubus.sock
        kill $broker
        wait $broker && ls -A /run/ubus"""

    room = subprocess.run([*OWN_MOUNTS, "sh", "-e", "-c", script],
                          capture_output=True, text=True, timeout=PATIENCE, check=False)

    assert (room.returncode, room.stderr) == (0, "")
    assert room.stdout == "755 directory /run/ubus\n666 socket /run/ubus/ubus.sock\n"


def test_other_path_leaves_the_default_directory_alone():
    script = f"""
        mount -t tmpfs none /run
        '{UBUSD}' -s /run/bus & broker=$!
        until '{UBUS}' -s /run/bus list; do kill -0 $broker || exit 1; sleep 0.05; done 2>/dev/null
        ls -A /run
        kill $broker
        wait $broker"""

    room = subprocess.run([*OWN_MOUNTS, "sh", "-e", "-c", script],
                          capture_output=True, text=True, timeout=PATIENCE, check=False)

    assert (room.returncode, room.stdout, room.stderr) == (0, "bus\n", "")


@pytest.mark.parametrize("path, reason", [("x" * 200, "File name too long"),
                                          ("/nowhere/bus", "No such file or directory")])
def test_impossible_path_is_an_error(path, reason):
    broker = subprocess.run([UBUSD, "-s", path], capture_output=True, text=True, timeout=PATIENCE,
                            check=False)

    assert broker.returncode == 1
    assert broker.stderr == f"ubusd: cannot listen on {path}: {reason}\n"


@pytest.mark.parametrize("arguments", [["-x"], ["-s"], ["-s", ""], ["word"]])
def test_wrong_command_line_is_an_error(arguments):
    broker = subprocess.run([UBUSD, *arguments], capture_output=True, text=True, timeout=PATIENCE,
                            check=False)

    assert broker.returncode == 1
    assert broker.stderr.endswith("Usage: ubusd [-s socket]\n")


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


@pytest.mark.parametrize("payload", [
    text(A_PATH, ""),
    text(A_PATH, "a") + number(A_TYPE, 4711),
    text(A_PATH, "a") + attribute(A_SIGNATURE, named_number("no table", 1)),
    text(A_PATH, "a") + attribute(A_SIGNATURE, method("m") + b"\0\0\0\1"),
    text(A_PATH, "a") + attribute(A_SIGNATURE, attribute(2, b"")),
    text(A_PATH, "a") + attribute(A_SIGNATURE, named(2, "m", named_text("argument", "String"))),
], ids=["empty name", "unknown type", "no table", "broken list", "no name", "no number"])
def test_malformed_registration_is_refused(bus, payload):
    client = bus.client()

    assert client.request(ADD_OBJECT, payload) == ([], 2)
    assert client.request(LOOKUP) == ([], 0)


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
    assert bus.client().request(ADD_OBJECT, text(A_PATH, "thief") + same_type) == ([], 2)
    removed = [client.request(REMOVE_OBJECT, number(A_ID, gone))[0][0].payload
               for gone in (int(object_hex, 16), twin)]
    assert removed == [words(f"03000008 {object_hex}"), number(A_ID, twin) + same_type]
    assert client.request(ADD_OBJECT, text(A_PATH, "late") + same_type) == ([], 2)


def test_object_without_name_is_not_listed(bus):
    client = bus.client()

    data, status = client.request(ADD_OBJECT)

    assert status == 0
    assert list(data[0].attributes) == [A_ID]
    assert client.request(LOOKUP) == ([], 0)


def test_object_without_type_has_its_name_but_is_not_listed(bus):
    client = bus.client()

    assert client.request(ADD_OBJECT, text(A_PATH, "bare"))[1] == 0

    assert client.request(LOOKUP, text(A_PATH, "bare")) == ([], 4)
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


# --- calls

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


def test_flag_for_no_reply_reaches_the_owner(bus):
    owner, caller = bus.client(), bus.client()
    demo = owner.add("demo")

    caller.invoke(demo, "poll", more=attribute(A_NO_REPLY, b"\1"))
    caller.invoke(demo, "poll", more=attribute(A_NO_REPLY, b"\0"))

    assert owner.frame().attributes[A_NO_REPLY] == b"\1"
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


def test_owner_that_answers_and_leaves_at_once_is_heard(bus):
    owner, caller = bus.client(), bus.client()
    caller.invoke(owner.add("demo"), "poll")
    call = owner.frame()

    # Answers to the pings are on their way when the owner is gone already.
    owner.send(b"".join(frame(PING, n, 0) for n in range(100)))
    owner.reply(call, named_number("n", 1))
    owner.finish(call)
    owner.close()

    assert [caller.frame().type, caller.frame().type] == [DATA, STATUS]


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


# --- everything else clients may ask

def test_ping_is_echoed(bus):
    client = bus.client()

    client.send(frame(PING, 9, 77, named_text("any", "thing")))

    assert client.frame().bytes == frame(DATA, 9, 77, named_text("any", "thing"))
    assert client.frame().bytes == frame(STATUS, 9, 77, number(A_STATUS, 0))


@pytest.mark.parametrize("kind", [HELLO, 8, 9, 10, 11, 12, 255])
def test_other_requests_are_invalid_commands(bus, kind):
    client = bus.client()

    client.send(frame(kind, 3, 4, number(A_ID, 5)))

    assert client.frame().bytes == frame(STATUS, 3, 4, number(A_STATUS, 1))


def test_version_is_not_looked_at(bus):
    client = bus.client()

    client.send(b"\7" + frame(PING, 1, 0)[1:])

    assert [client.frame().type, client.frame().type] == [DATA, STATUS]


# --- events

def listen(client, pattern):
    """The id of a nameless object that gets the events."""
    listener = client.add()
    sequence = client.invoke(1, "register", named_number("object", listener) +
                             named_text("pattern", pattern))
    answer = client.frame()
    assert (answer.type, answer.sequence, answer.peer) == (STATUS, sequence, 1)
    assert answer.attributes[A_STATUS] == 0
    return listener


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
    assert register("nothing", named_number("object", own) + pattern) == 3
    assert register("register", named_number("object", own)) == 2
    assert register("register", pattern) == 2
    assert register("register", named_text("object", "x") + pattern) == 2
    assert register("register", named_number("object", own ^ 1) + pattern) == 4
    assert register("register", named_number("object", foreign) + pattern) == 6
    assert register("register", named_number("object", own) + pattern) == 0


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
    assert bus.errors() == (f"ubusd: client {client.id:08x} disconnected: it sent a frame of length "
                            f"{length}\n")


def test_frame_cut_off_by_the_end_is_not_carried_out(bus):
    client, other = bus.client(), bus.client()

    client.send(ADD_DEMO[:-4])
    client.socket.shutdown(socket.SHUT_WR)

    assert client.closed_by_broker()
    assert other.request(LOOKUP) == ([], 0)


# --- clients that do not take part

def memory(process):
    with open(f"/proc/{process.pid}/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def test_client_that_does_not_read_is_disconnected_and_delays_nobody(bus):
    owner, caller = bus.client(), bus.client()
    caller.invoke(owner.add("demo"), "poll")
    call = owner.frame()
    megabyte = named(3, "text", bytes(1000000))

    before = memory(bus.process)
    for _ in range(40):
        owner.reply(call, megabyte)
        assert owner.settled()

    assert bus.errors() == (f"ubusd: client {caller.id:08x} disconnected: it does not read what it "
                            "is sent\n")
    if not SANITIZED:
        assert memory(bus.process) - before < 32 * LIMIT


def test_client_that_reads_late_gets_everything(bus):
    owner, caller = bus.client(), bus.client()
    caller.invoke(owner.add("demo"), "poll")
    call = owner.frame()
    data = named(3, "text", bytes(1000000))

    for _ in range(10):
        owner.reply(call, data)
    owner.finish(call)
    assert owner.settled()

    assert [caller.frame().attributes.get(A_DATA) for _ in range(11)] == [data] * 10 + [None]


def test_client_that_never_reads_its_own_answers_is_disconnected(bus):
    client, other = bus.client(), bus.client()
    client.add("demo")
    # The answers of the lookups are what piles up.
    lookups = b"".join(frame(LOOKUP, 1, 0) for _ in range(1000))

    with pytest.raises(OSError):
        for _ in range(1000):
            client.send(lookups)

    until(lambda: other.request(LOOKUP) == ([], 0), "the end of the object")


def test_end_of_objects_reaches_a_listener_that_is_too_slow_without_harm(bus):
    listening, owner = bus.client(), bus.client()
    listen(listening, "*")
    name = "x" * 100000

    for _ in range(120):
        demo = owner.add(name)
        assert owner.request(REMOVE_OBJECT, number(A_ID, demo))[1] == 0

    assert owner.settled()
    assert bus.errors() == (f"ubusd: client {listening.id:08x} disconnected: it does not read what "
                            "it is sent\n")
