# SPDX-License-Identifier: Apache-2.0
"""Named values from and to JSON text."""
from __future__ import annotations

import struct

from . import wire

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

DEEPEST_JSON = 31
# Messages nest as deep as their length allows; the stack does not.
DEEPEST_VALUE = 300

_NUMBERS = {wire.INT64: ">q", wire.INT32: ">i", wire.INT16: ">h", wire.DOUBLE: ">d"}
_ESCAPES = {**{number: f"\\u{number:04x}" for number in range(32)},
            **{ord(plain): "\\" + name for plain, name in zip("\b\n\t\r\"\\", "bntr\"\\", strict=True)}}


# ---- from JSON

def from_json(text: str) -> bytes:
    """The named values of one object; what follows it does not matter. ValueError for other texts."""
    if not text.lstrip().startswith("{"):
        raise ValueError("no object")
    # Takes nearly as long to import as all the rest.
    import json
    try:
        value, _ = json.JSONDecoder(strict=False).raw_decode(text.lstrip())
    except RecursionError as error:
        raise ValueError("too deep") from error
    return _members(value, 1)


def _members(members: dict[str, Any], depth: int) -> bytes:
    if depth > DEEPEST_JSON:
        raise ValueError("too deep")
    return b"".join(_from_python(name, value, depth) for name, value in members.items())


def _from_python(name: str, value: Any, depth: int) -> bytes:
    if value is None:
        return wire.named(wire.NULL, name)
    if isinstance(value, bool):
        return wire.named(wire.INT8, name, b"\1" if value else b"\0")
    if isinstance(value, int):
        if -(1 << 31) <= value < 1 << 31:
            return wire.named_number(name, value)
        clamped = max(-(1 << 63), min((1 << 63) - 1, value))
        return wire.named(wire.INT64, name, struct.pack(">q", clamped))
    if isinstance(value, float):
        return wire.named(wire.DOUBLE, name, struct.pack(">d", value))
    if isinstance(value, str):
        return wire.named_text(name, value.partition("\0")[0])
    if isinstance(value, list):
        return wire.named(wire.ARRAY, name, _elements(value, depth + 1))
    return wire.named(wire.TABLE, name, _members(value, depth + 1))


def _elements(elements: list[Any], depth: int) -> bytes:
    if depth > DEEPEST_JSON:
        raise ValueError("too deep")
    return b"".join(_from_python("", value, depth) for value in elements)


# ---- to JSON

def to_json(data: bytes, indented: bool = False) -> bytes:
    """One object of all values. With empty names or numbers that are none it is no JSON, as on a device."""
    return _container(data, "{}", indented, 0).encode("latin-1")


def _container(data: bytes, brackets: str, indented: bool, depth: int) -> str:
    inner, outer = ("\n" + "\t" * (depth + 1), "\n" + "\t" * depth) if indented else ("", "")
    separator = ": " if indented else ":"
    members = []
    for key, payload in wire.split(data)[0]:
        found = wire.named_value(key, payload)
        value = found and _to_text(found[0], found[2], indented, depth + 1)
        if found and value:
            name = f"{_quoted(found[1])}{separator}" if found[1] and brackets == "{}" else ""
            members.append(name + value)
    return brackets[0] + inner + f",{inner}".join(members) + outer + brackets[1]


def _to_text(kind: int, value: bytes, indented: bool, depth: int) -> str | None:
    """None for a value that does not fit its type."""
    if kind == wire.NULL:
        return "null"
    if kind in (wire.ARRAY, wire.TABLE):
        if depth > DEEPEST_VALUE:
            return "null"
        return _container(value, "[]" if kind == wire.ARRAY else "{}", indented, depth)
    if kind == wire.STRING:
        return _quoted(wire.cut(value)) if value[-1:] == b"\0" else None
    if len(value) != wire.SIZES.get(kind):
        return None
    if kind == wire.INT8:
        return "false" if value == b"\0" else "true"
    number = struct.unpack(_NUMBERS[kind], value)[0]
    return f"{number:f}" if kind == wire.DOUBLE else str(number)


def _quoted(octets: bytes) -> str:
    """Characters stand for bytes here, so that those that are no UTF-8 pass unchanged."""
    return '"' + octets.decode("latin-1").translate(_ESCAPES) + '"'
