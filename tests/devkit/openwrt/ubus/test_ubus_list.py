# SPDX-License-Identifier: Apache-2.0
"""The stand-in command line: listing objects, and the command itself."""
import json
import subprocess

import pytest
from ubus_command import result, start, ubus

from bus_bench import PATIENCE, UBUS, method
from openwrt.bus.wire import ARRAY, DOUBLE, INT8, INT16, INT32, INT64, STRING, TABLE

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


def test_simple_list_has_names_only(bus, owner):
    assert ubus(bus, "-S", "-v", "list") == (0, "demo\n", "")
    assert owner.settled()


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
        "a": "Array", "t": "Table", "s": "String", "l": "(unknown)", "i": "Integer",
        "h": "(unknown)", "b": "Boolean", "d": "(unknown)", "n": "(unknown)", "x": "(unknown)"}}


# --- the command itself

def test_output_that_cannot_be_written_is_no_error(bus, owner):
    with open("/dev/full", "w", encoding="ascii") as full:
        assert result(start(bus, "list", "demo", stdout=full)) == (0, None, "")
    assert owner.settled()


@pytest.mark.parametrize("arguments", [["list"], ["call", "a", "b"], ["wait_for", "a"], ["listen"]])
def test_no_broker_is_an_error(tmp_path, arguments):
    command = subprocess.run([UBUS, "-s", tmp_path / "none", *arguments], capture_output=True,
                             text=True, timeout=PATIENCE, check=False)

    assert (command.returncode, command.stdout) == (255, "")
    assert command.stderr == "Failed to connect to ubus\n"
    simple = subprocess.run([UBUS, "-s", tmp_path / "none", "-S", *arguments], capture_output=True,
                            text=True, timeout=PATIENCE, check=False)
    assert (simple.returncode, simple.stderr) == (255, "")


@pytest.mark.parametrize("arguments", [[], ["-x", "list"], ["-t"]])
def test_wrong_option_is_an_error(bus, arguments):
    status, out, err = ubus(bus, *arguments)

    assert (status, out) == (1, "")
    assert "Usage: " in err


@pytest.mark.parametrize("arguments", [["unknown"], ["list", "a", "b"], ["call"], ["call", "a"],
                                       ["call", "a", "b", "{}", "d"], ["wait_for"]])
def test_wrong_command_is_an_error(bus, arguments):
    status, out, err = ubus(bus, *arguments)

    assert (status, out) == (254, "")
    assert "Usage: " in err
