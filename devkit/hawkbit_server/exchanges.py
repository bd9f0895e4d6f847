# SPDX-License-Identifier: Apache-2.0
"""The record of all requests and their answers, in order of arrival."""

from __future__ import annotations

import json
import threading
from collections.abc import Callable
from dataclasses import dataclass, field
from typing import Any


@dataclass(eq=False)
class Exchange:
    """One request and what became of it.

    kind     base, deploymentBase, feedback, cancelAction, cancelFeedback, configData, artifact, md5sum,
             installedBase or other
    target   the controller id in the path, decoded; None where the path has none
    arrived  on the server's clock, in seconds since 1970
    path     as written in the request, without the query
    headers  names in lower case
    resumed  whether the connection took up an earlier TLS session
    status   of the answer; None while there is none, and for good when the connection was dropped
    sent     number of bytes of the answer's body that were sent
    outcome  "open" at first, then "answered", "dropped", "cut" or "client gone"
    """

    number: int
    arrived: float
    kind: str
    target: str | None
    action: int | None
    method: str
    path: str
    query: str
    headers: dict[str, str]
    client_subject: str | None
    resumed: bool
    body: bytes = b""
    status: int | None = None
    response_headers: dict[str, str] = field(default_factory=dict)
    response_body: bytes = b""
    sent: int = 0
    outcome: str = "open"

    def json(self) -> Any:
        """The request's body as JSON."""
        return json.loads(self.body)

    def response_json(self) -> Any:
        """The answer's body as JSON."""
        return json.loads(self.response_body)


class Journal:
    """Exchanges of all connections; waiting threads are woken through the store's condition."""

    def __init__(self, changed: threading.Condition, clock: Callable[[], float]) -> None:
        self._changed = changed
        self._clock = clock
        self._exchanges: list[Exchange] = []

    def open(self, **members: Any) -> Exchange:
        with self._changed:
            exchange = Exchange(number=len(self._exchanges) + 1, arrived=self._clock(), **members)
            self._exchanges.append(exchange)
            self._changed.notify_all()
        return exchange

    def finish(self, exchange: Exchange, outcome: str) -> None:
        with self._changed:
            exchange.outcome = outcome
            self._changed.notify_all()

    def select(self, kind: str | None = None, target: str | None = None) -> list[Exchange]:
        with self._changed:
            return [each for each in self._exchanges
                    if kind in (None, each.kind) and target in (None, each.target)]
