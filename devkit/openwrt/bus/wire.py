# SPDX-License-Identifier: Apache-2.0
"""The wire format of the message bus: frames, the attributes in them, and named values.

The command imports this each time it starts, so it imports next to nothing itself.
"""
from __future__ import annotations

import struct

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

(HELLO, STATUS, DATA, PING, LOOKUP, INVOKE, ADD_OBJECT, REMOVE_OBJECT, SUBSCRIBE, UNSUBSCRIBE,
 NOTIFY) = range(11)
A_STATUS, A_PATH, A_ID, A_METHOD, A_TYPE, A_SIGNATURE, A_DATA = range(1, 8)
A_TARGET, A_ACTIVE, A_NO_REPLY, A_SUBSCRIBERS, A_USER, A_GROUP = range(8, 14)
NULL, ARRAY, TABLE, STRING, INT64, INT32, INT16, INT8, DOUBLE = range(9)

(OK, INVALID_COMMAND, INVALID_ARGUMENT, METHOD_NOT_FOUND, NOT_FOUND, NO_DATA, PERMISSION_DENIED, TIMEOUT,
 NOT_SUPPORTED, UNKNOWN_ERROR, CONNECTION_FAILED, NO_MEMORY, PARSE_ERROR, SYSTEM_ERROR) = range(14)

DEFAULT_SOCKET = "/var/run/ubus/ubus.sock"
# The broker's own object, with which clients register for events.
EVENT_OBJECT = 1
# What may follow the first 8 bytes of a frame, padding included.
LARGEST_LENGTH = 1048576

_HEAD = struct.Struct(">BBHII")
_WORD = struct.Struct(">I")
_EXTENDED = 0x80
_NUMBERS = (A_STATUS, A_ID, A_TYPE, A_TARGET)
_TEXTS = (A_PATH, A_METHOD, A_USER, A_GROUP)
# Sizes of the values that have only one.
SIZES = {INT64: 8, INT32: 4, INT16: 2, INT8: 1, DOUBLE: 8}


class FramingError(Exception):
    """A frame has an impossible length; nothing after it can be understood."""

    def __init__(self, length: int) -> None:
        super().__init__(f"a frame of length {length}")
        self.length = length


# ---- writing

def padded(data: bytes) -> bytes:
    return data + bytes(-len(data) % 4)


def attribute(number: int, payload: bytes) -> bytes:
    return padded(_WORD.pack(number << 24 | len(payload) + 4) + payload)


def number(attribute_id: int, value: int) -> bytes:
    return attribute(attribute_id, _WORD.pack(value))


def text(attribute_id: int, value: str | bytes) -> bytes:
    return attribute(attribute_id, _octets(value) + b"\0")


def named(kind: int, name: str | bytes, value: bytes = b"") -> bytes:
    octets = _octets(name)
    head = padded(struct.pack(">H", len(octets)) + octets + b"\0")
    return attribute(_EXTENDED | kind, head + value)


def named_text(name: str | bytes, value: str | bytes) -> bytes:
    return named(STRING, name, _octets(value) + b"\0")


def named_number(name: str | bytes, value: int) -> bytes:
    return named(INT32, name, _WORD.pack(value % (1 << 32)))


def frame(kind: int, sequence: int, peer: int, payload: bytes = b"") -> bytes:
    return _HEAD.pack(0, kind, sequence, peer, len(payload) + 4) + payload


def _octets(value: str | bytes) -> bytes:
    """What came from the command line with bytes that are no UTF-8 goes out with them again."""
    return value.encode("utf-8", "surrogateescape") if isinstance(value, str) else value


# ---- reading

class Frame:
    """A message that has arrived."""

    def __init__(self, data: bytes) -> None:
        self.bytes = data
        _, self.type, self.sequence, self.peer, _ = _HEAD.unpack_from(data)
        self.payload = data[_HEAD.size:]

    @property
    def attributes(self) -> dict[int, Any]:
        return attributes(self.payload)


class Assembler:
    """Makes frames of a stream that comes in pieces."""

    def __init__(self) -> None:
        self._buffer = bytearray()

    def add(self, data: bytes) -> None:
        self._buffer += data

    def next(self) -> Frame | None:
        """The next complete frame; FramingError as soon as it states a length outside the limits."""
        if len(self._buffer) < _HEAD.size:
            return None
        length = _HEAD.unpack_from(self._buffer)[4] & 0xffffff
        if length < 4 or length + -length % 4 > LARGEST_LENGTH:
            raise FramingError(length)
        size = _HEAD.size - 4 + length
        if len(self._buffer) < size:
            return None
        data = bytes(self._buffer[:size])
        del self._buffer[:size]
        return Frame(data)


def split(data: bytes) -> tuple[list[tuple[int, bytes]], bool]:
    """The flag and number of each attribute of a list with its payload, and whether that is all there is.

    Ends at the first attribute that cannot be one. The last may lack its padding.
    """
    found: list[tuple[int, bytes]] = []
    start, end = 0, len(data)
    while start < end:
        word = _WORD.unpack_from(data, start)[0] if end - start >= 4 else 0
        length = word & 0xffffff
        if length < 4 or length > end - start:
            return found, False
        found.append((word >> 24, data[start + 4:start + length]))
        start += length + -length % 4
    return found, True


def attributes(payload: bytes) -> dict[int, Any]:
    """The attributes of a frame by number; those that are numbers as such, texts with their NUL.

    As on a device, what has the wrong shape counts as absent, and of two of a kind the last holds.
    """
    found: dict[int, Any] = {}
    for key, value in split(payload)[0]:
        if key in _NUMBERS:
            if len(value) == 4:
                found[key] = _WORD.unpack(value)[0]
        elif not ((key in _TEXTS and value[-1:] != b"\0") or (key == A_NO_REPLY and len(value) != 1)):
            found[key] = value
    return found


def cut(value: bytes) -> bytes:
    """A text as C sees it, up to its first NUL."""
    return value.partition(b"\0")[0]


def named_value(key: int, payload: bytes) -> tuple[int, bytes, bytes] | None:
    """Type, name and value of an attribute that split() found; None unless its name fits into it."""
    if not key & _EXTENDED or len(payload) < 2:
        return None
    length = payload[0] << 8 | payload[1]
    value = 3 + length + -(3 + length) % 4
    if value > len(payload) or payload[2 + length]:
        return None
    return key & ~_EXTENDED, payload[2:2 + length], payload[value:]
