# SPDX-License-Identifier: Apache-2.0
"""Which request gets which fault.

An order names a kind of request (see `exchanges.Exchange.kind`, or "any"), optionally one target, the number of
the first affected request, and how many requests in a row are affected. The kinds "accept" and "handshake" stand for
new connections, which have no target yet; "any" does not include them.
"""

from __future__ import annotations

import threading
from dataclasses import dataclass

from .faults import Drop, Fault, Stall

KINDS = ("any", "base", "deploymentBase", "feedback", "cancelAction", "cancelFeedback", "configData",
         "artifact", "md5sum", "installedBase", "other", "accept", "handshake")
CONNECTION_KINDS = ("accept", "handshake")


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
        includes = self.kind == kind or (self.kind == "any" and kind not in CONNECTION_KINDS)
        return not self.withdrawn and includes and self.target in (None, target)

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
        if kind in CONNECTION_KINDS and not isinstance(fault, Drop | Stall):
            raise ValueError(f"a connection can be dropped or stalled at {kind!r}, nothing else")
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
