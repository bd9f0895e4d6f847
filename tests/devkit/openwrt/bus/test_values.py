# SPDX-License-Identifier: Apache-2.0
"""Named values from and to JSON, as the command line takes and shows them."""
import struct

import pytest

from bus_bench import words
from openwrt.bus.values import from_json, to_json
from openwrt.bus.wire import ARRAY, DOUBLE, INT16, INT32, INT64, STRING, TABLE, named, named_number, named_text

# ---- from JSON

@pytest.mark.parametrize("text, digits", [
    ("{}", ""), (' {"n":7} and more', "8500000c 00016e00 00000007"),
    ('{"agent_id":"gw"}', "83000013 00086167 656e745f 69640000 67770000"),
    ('{"n":1,"n":7}', "8500000c 00016e00 00000007"),
    ('{"z":null,"a":null}', "80000008 00017a00 80000008 00016100"),
    ('{"n":2147483647}', "8500000c 00016e00 7fffffff"),
    ('{"n":-2147483648}', "8500000c 00016e00 80000000"),
    ('{"n":2147483648}', "84000010 00016e00 00000000 80000000"),
    ('{"n":-2147483649}', "84000010 00016e00 ffffffff 7fffffff"),
    ('{"n":99999999999999999999}', "84000010 00016e00 7fffffff ffffffff"),
    ('{"n":-99999999999999999999}', "84000010 00016e00 80000000 00000000"),
    ('{"d":1.5}', "88000010 00016400 3ff80000 00000000"),
    ('{"b":false}', "87000009 00016200 00000000"),
    ('{"s":"abc\\u0000def"}', "8300000c 00017300 61626300"),
    ('{"s":"\udcff\udcfe"}', "8300000b 00017300 fffe0000")])
def test_members_become_values(text, digits):
    assert from_json(text) == words(digits)


@pytest.mark.parametrize("text", ["[1]", "5", "null", "", '"x"', "{", '{"a":}', '{"a":[}', "nonsense", '{"a":tru',
                                  '{"s":"\\ud800"}', pytest.param('{"a":' * 100000, id="endless nesting")])
def test_other_texts_are_refused(text):
    with pytest.raises(ValueError, match=r"no object|Expecting|surrogates|too deep"):
        from_json(text)


def test_thirty_one_levels_are_accepted_and_no_more():
    assert from_json('{"a":' * 31 + "1" + "}" * 31)
    assert from_json('{"a":' + "[" * 30 + "]" * 30 + "}")
    with pytest.raises(ValueError, match="too deep"):
        from_json('{"a":' * 32 + "1" + "}" * 32)
    with pytest.raises(ValueError, match="too deep"):
        from_json('{"a":' + "[" * 31 + "]" * 31 + "}")


# ---- to JSON

def double(name, value):
    return named(DOUBLE, name, struct.pack(">d", value))


@pytest.mark.parametrize("data, text", [
    (b"", b"{}"),
    (double("d", 1.5) + double("e", -0.1234567), b'{"d":1.500000,"e":-0.123457}'),
    (double("d", float("nan")), b'{"d":nan}'),
    (named(INT16, "h", b"\xff\xff") + named_number("n", 1 << 31) + named(INT64, "l", b"\x80" + bytes(7)),
     b'{"h":-1,"n":-2147483648,"l":-9223372036854775808}'),
    (named_text("s", b"\b\n\t\r\x01\x1f\f\"\\/"), rb'{"s":"\b\n\t\r\u0001\u001f\u000c\"\\/"}'),
    (named_number('a"b', 1), rb'{"a\"b":1}'),
    (named_text("s", b"\x7f\xc3\xa4\xff"), b'{"s":"\x7f\xc3\xa4\xff"}'),
    (named_text("", "x"), b'{"x"}'),
    (named_number("", 1), b"{1}"),
    (named_text("s", b"a\0b"), b'{"s":"a"}')])
def test_values_become_members(data, text):
    assert to_json(data) == text


@pytest.mark.parametrize("broken", [
    named(STRING, "s", b"abc"), named(STRING, "s"), named(INT32, "n", b"\0\7"), named(0x42, "u", b"x\0"),
    words("0300000c 00017300 61626300"), words("83ffffff")],
    ids=["no end", "no length", "half a number", "unknown type", "no name", "past the end"])
def test_value_that_does_not_fit_its_type_is_left_out(broken):
    assert to_json(named_number("n", 7) + broken) == b'{"n":7}'


def test_indented_text_has_tabs_even_where_it_is_empty():
    data = named_number("a", 1) + named(ARRAY, "b", named_number("", 1)) + named(TABLE, "c")

    assert to_json(data, indented=True) == b'{\n\t"a": 1,\n\t"b": [\n\t\t1\n\t],\n\t"c": {\n\t\t\n\t}\n}'


def test_nesting_deeper_than_a_stack_goes_ends_in_null():
    depth = 100000
    data = b"".join(struct.pack(">II", (0x80 | ARRAY) << 24 | 8 * (depth - level), 0) for level in range(depth))

    assert b"[[[null]]]" in to_json(data)
