# SPDX-License-Identifier: Apache-2.0
"""Fault injection: what should go wrong with which request.

An order names a kind of request (see `exchanges.Exchange.kind`, or "any"), optionally one target, the number of
the first affected request, and how many requests in a row are affected.
"""

from __future__ import annotations

import json
import threading
from collections.abc import Callable, Mapping
from dataclasses import dataclass, field
from typing import Any

from . import errors

KINDS = ("any", "base", "deploymentBase", "feedback", "cancelAction", "cancelFeedback", "configData",
         "artifact", "md5sum", "installedBase", "other")


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


@dataclass(frozen=True)
class Cut:
    """Announce the whole body, send only its first bytes, then close the connection."""

    after: int


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
class Slow:
    """Send the body at this many bytes per second."""

    bytes_per_second: int

    def __post_init__(self) -> None:
        if self.bytes_per_second < 1:
            raise ValueError("bytes_per_second must be at least 1")


@dataclass
class Stall:
    """Hold the request until `release()` is called or the server stops, then continue as usual.

    `reached` is set once a request is being held.
    """

    reached: threading.Event = field(default_factory=threading.Event)
    _released: threading.Event = field(default_factory=threading.Event)

    def release(self) -> None:
        """Lets held requests continue."""
        self._released.set()

    def hold(self) -> None:
        """Called by the server: returns when the fault is released."""
        self.reached.set()
        self._released.wait()


Fault = Code | Drop | Cut | Text | Mutate | Slow | Stall


@dataclass
class Order:
    """One ordered fault; `seen` counts matching requests, `hits` the affected ones."""

    kind: str
    fault: Fault
    target: str | None
    first: int
    times: int | None
    seen: int = 0
    hits: int = 0
    withdrawn: bool = False

    def withdraw(self) -> None:
        """No further request is affected."""
        self.withdrawn = True

    def matches(self, kind: str, target: str | None) -> bool:
        """Whether the order is for such a request."""
        return not self.withdrawn and self.kind in ("any", kind) and self.target in (None, target)

    def is_due(self) -> bool:
        """Whether the request just counted is affected."""
        return self.seen >= self.first and (self.times is None or self.hits < self.times)


class Faults:
    """All orders. At most one fault is applied to a request: that of the oldest order that is due."""

    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._orders: list[Order] = []

    def order(self, kind: str, fault: Fault, target: str | None, first: int, times: int | None) -> Order:
        """Adds an order; ValueError for an impossible one."""
        if kind not in KINDS:
            raise ValueError(f"there is no kind of request {kind!r}, only {KINDS}")
        if first < 1 or (times is not None and times < 1):
            raise ValueError("first and times count from 1")
        order = Order(kind, fault, target, first, times)
        with self._lock:
            self._orders.append(order)
        return order

    def take(self, kind: str, target: str | None) -> Fault | None:
        """Counts a request, and returns the fault to inject into it."""
        with self._lock:
            matching = [order for order in self._orders if order.matches(kind, target)]
            for order in matching:
                order.seen += 1
            due = next((order for order in matching if order.is_due()), None)
            if due is None:
                return None
            due.hits += 1
            return due.fault

    def clear(self) -> None:
        """Withdraws every order and releases what is being held."""
        with self._lock:
            orders, self._orders = self._orders, []
        for order in orders:
            order.withdraw()
            if isinstance(order.fault, Stall):
                order.fault.release()
