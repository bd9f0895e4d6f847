# SPDX-License-Identifier: Apache-2.0
"""Fault injection: what can go wrong with a request or a connection."""

from __future__ import annotations

import json
import threading
from collections.abc import Callable, Mapping
from dataclasses import dataclass, field
from enum import StrEnum
from typing import Any

from . import errors


class Part(StrEnum):
    """Where in an answer something happens: among its status line and headers, or in its body."""

    HEAD = "head"
    BODY = "body"


class Ending(StrEnum):
    """How a connection ends: closed without TLS's close_notify, reset, or closed in one direction only (the device may
    still send, nobody reads)."""

    CLOSED = "closed"
    RESET = "reset"
    HALF = "half"


@dataclass(frozen=True)
class Code:
    """Answer with this status and do nothing. Without a body, it gets one such as hawkBit sends.

    `headers` are those that a proxy in front would add, for example Location or Retry-After.
    """

    status: int
    body: bytes | None = None
    headers: Mapping[str, str] = field(default_factory=dict)

    def content(self) -> tuple[bytes, str]:
        """The body and its content type."""
        if self.body is not None:
            return self.body, errors.JSON_TYPE
        if self.status in (401, 410):
            return b"", ""
        return errors.framework_body(self.status), errors.JSON_TYPE


@dataclass(frozen=True)
class Drop:
    """Close the connection before anything is done, or (`processed`) after the request took effect."""

    processed: bool = False
    ending: Ending = Ending.CLOSED


@dataclass(frozen=True)
class Cut:
    """Announce the whole body, send only the first bytes of the answer's part, then end the connection."""

    after: int
    part: Part = Part.BODY
    ending: Ending = Ending.CLOSED


@dataclass(frozen=True)
class Text:
    """Carry out the request, but answer with this body, for example with broken JSON."""

    body: bytes | str
    status: int = 200
    content_type: str = "application/hal+json;charset=UTF-8"

    def content(self) -> bytes:
        """The body as bytes."""
        return self.body.encode() if isinstance(self.body, str) else self.body


@dataclass(frozen=True)
class Mutate:
    """Pass the JSON document to a function and send its result."""

    change: Callable[[Any], Any]

    def apply(self, body: bytes) -> bytes:
        """The changed document, encoded."""
        return json.dumps(self.change(json.loads(body)), ensure_ascii=False).encode("utf-8", "replace")


@dataclass(frozen=True)
class Headers:
    """Carry out the request, but answer with these headers; None leaves one out that the answer would have."""

    changes: Mapping[str, str | None]

    def apply(self, headers: Mapping[str, str]) -> dict[str, str]:
        """The headers as they are sent; names are compared whatever their case."""
        changed = {name.lower() for name in self.changes}
        kept = {name: value for name, value in headers.items() if name.lower() not in changed}
        return kept | {name: value for name, value in self.changes.items() if value is not None}


@dataclass(frozen=True)
class Slow:
    """Send the body, or the whole answer from its first byte (`part` is the head), at this many bytes per second."""

    bytes_per_second: int
    part: Part = Part.BODY

    def __post_init__(self) -> None:
        if self.bytes_per_second < 1:
            raise ValueError("bytes_per_second must be at least 1")


@dataclass
class Stall:
    """Hold the request until `release()` is called or the server stops, then continue as usual.

    Without `after` it is held before anything is done, else once so many bytes of the answer's part are sent.
    A connection held in its handshake is closed afterwards. `reached` is set once a request is being held.
    One that is held before anything is done can be closed instead: `drop()`.
    """

    after: int | None = None
    part: Part = Part.BODY
    reached: threading.Event = field(default_factory=threading.Event)
    dropped: bool = False
    _released: threading.Event = field(default_factory=threading.Event)

    def release(self) -> None:
        """Lets held requests continue."""
        self._released.set()

    def drop(self) -> None:
        """Closes the connections of held requests."""
        self.dropped = True
        self.release()

    def hold(self) -> None:
        """Called by the server: returns when the fault is released."""
        self.reached.set()
        self._released.wait()


Fault = Code | Drop | Cut | Text | Mutate | Headers | Slow | Stall
