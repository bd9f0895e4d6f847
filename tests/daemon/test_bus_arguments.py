# SPDX-License-Identifier: Apache-2.0
"""Malformed and extreme arguments."""
import struct

import pytest

from bench import DEVICE
from local_control import FAILURE, RARE, SUCCESS
from openwrt.bus.wire import (
    A_DATA,
    A_ID,
    A_METHOD,
    ARRAY,
    DOUBLE,
    INT8,
    INT32,
    INT64,
    STRING,
    TABLE,
    attribute,
    named,
    named_text,
    number,
    text,
)
from raw_bus import FAILED, SUCCEEDED, raw_caller

METHODS = ("force_poll", "get_deployment", "accept_deployment", "get_agents")


@pytest.fixture(name="bench")
def fixture_bench(make_bench):
    return make_bench(poll=RARE)


@pytest.fixture(name="daemon")
def fixture_daemon(bench, control):
    daemon = bench.start()
    control.wait_until_served()
    bench.wait_for_exchanges("base", 2)
    return daemon


def still_serves(daemon, control):
    return (daemon.is_running() and control.force_poll({"agent_id": DEVICE}) == SUCCESS
            and control.get_agents()["agents"][0]["id"] == DEVICE)


@pytest.mark.parametrize("arguments, reason", [
    ('{"agent_id":["gw-1"]}', "exception_caught action=call method=force_poll what="),
    ('{"agent_id":{"id":"gw-1"}}', "exception_caught action=call method=force_poll what="),
    ('{"":"x"}', "exception_caught action=call method=force_poll what="),
    ('{"agent_id":NaN}', "exception_caught action=call method=force_poll what="),
    ('{"agent_id":5}', "ubus error=no such agent agent=5"),
    ('{"agent_id":1.25}', "ubus error=no such agent agent=1.25"),
    ('{"agent_id":true}', "ubus error=no such agent agent=true"),
    ('{"agent_id":null}', "ubus error=no such agent agent=null"),
    ('{"agent_id":""}', 'ubus error=no such agent agent=""'),
])
def test_unknown_agent_id_is_refused(bench, control, daemon, arguments, reason):
    reply = control.force_poll(arguments)

    assert reply == FAILURE
    daemon.wait_for_line(f"ERROR .*event={reason}")
    assert len(bench.exchanges("base")) == 2
    assert still_serves(daemon, control)


def test_methods_without_parameters_ignore_arguments(control, daemon):
    arguments = '{"agent_id":["gw-1"],"":{"x":[1,2,{"y":null}]}}'

    replies = [control.bus.call(method, arguments) for method in METHODS[1:]]

    assert [reply.get("success") for reply in replies] == [False, False, None]
    assert still_serves(daemon, control)


def test_huge_arguments_are_accepted(bench, control, daemon):
    huge = named_text("agent_id", "x" * 900_000)
    table = b"".join(named_text(f"key{number}", "value" * 20) for number in range(7000))

    with raw_caller(bench) as caller:
        by_id = caller.call("force_poll", huge)
        ignored = [caller.call(method, huge)[1] for method in METHODS[1:]]
        many = caller.call("force_poll",
                           named(TABLE, "more", table) + named_text("agent_id", DEVICE))

    assert by_id == ([FAILED], 0)
    assert ignored == [0, 0, 0]
    assert many == ([SUCCEEDED], 0)
    assert still_serves(daemon, control)


def nested(kind, depth):
    """Containers nested to this depth, outermost first."""
    return b"".join(struct.pack(">II", (0x80 | kind) << 24 | 8 * (depth - level), 0)
                    for level in range(depth))


@pytest.mark.parametrize("kind", [TABLE, ARRAY])
def test_deep_nesting_does_not_overflow_the_stack(bench, control, daemon, kind):
    with raw_caller(bench) as caller:
        replies = {method: caller.call(method, nested(kind, 100_000)) for method in METHODS}

    assert replies["force_poll"] == ([FAILED], 0)
    assert [status for _, status in replies.values()] == [0, 0, 0, 0]
    daemon.wait_for_line("ERROR .*event=exception_caught action=call method=force_poll what=")
    assert still_serves(daemon, control)


HOSTILE = {
    "text without an end": named(STRING, "agent_id", b"gw-1"),
    "text of no length": named(STRING, "agent_id"),
    "number that is too short": named(INT32, "agent_id", b"\1"),
    "number that is too long": named(INT8, "agent_id", bytes(8)),
    "long number": named(INT64, "agent_id", b"\xff" * 8),
    "not a number": named(DOUBLE, "agent_id", struct.pack(">d", float("nan"))),
    "infinity": named(DOUBLE, "agent_id", struct.pack(">d", float("inf"))),
    "unknown type": named(0x42, "agent_id", b"gw-1\0"),
    "no name": attribute(STRING, b"gw-1\0"),
    "name beyond its attribute": bytes.fromhex("83000008 ffff6167"),
    "attribute beyond the message": bytes.fromhex("83ffffff 00016100"),
    "attribute of no length": bytes.fromhex("83000000 00000000"),
    "text that is no UTF-8": named(STRING, "agent_id", b"\xff\xfe\x80\0"),
    "text of control characters": named(STRING, "agent_id", bytes(range(1, 32)) + b"\0"),
    "table in which an array is broken": named(TABLE, "t", named(ARRAY, "", b"\x83\0\0\1")),
}


def test_daemon_survives_broken_arguments(bench, control, daemon):
    for name, arguments in HOSTILE.items():
        with raw_caller(bench) as caller:
            for method in METHODS:
                caller.throw(number(A_ID, caller.object_id) + text(A_METHOD, method) +
                             attribute(A_DATA, arguments))
        assert control.get_agents()["agents"][0]["id"] == DEVICE, name

    assert still_serves(daemon, control)


def test_daemon_survives_broken_calls(bench, control, daemon):
    with raw_caller(bench) as caller:
        own = number(A_ID, caller.object_id)
        method = text(A_METHOD, "force_poll")
        for payload in (own, own + method, method + attribute(A_DATA, b""),
                        own + attribute(A_METHOD, b"force_poll") + attribute(A_DATA, b""),
                        own + attribute(A_METHOD, b"") + attribute(A_DATA, b""),
                        own + text(A_METHOD, "m" * 500_000) + attribute(A_DATA, b""),
                        own + method + attribute(A_DATA, b"") * 1000,
                        own + method + number(A_DATA, 5), b"\xff" * 64):
            caller.throw(payload)

    assert still_serves(daemon, control)


def test_unknown_method_is_refused_by_the_bus(control, daemon):
    program = control.bus.command("call", "zephran", "reboot", simple=False)

    assert program.exit_status == 3
    assert "Method not found" in program.err
    assert still_serves(daemon, control)
