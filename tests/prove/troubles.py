# SPDX-License-Identifier: Apache-2.0
"""What can happen to one exchange: each trouble makes the fault for it, or None where it would be no trouble."""
import dataclasses
import json
from collections.abc import Callable

from hawkbit_server import Code, Cut, Drop, Ending, Mutate, Part, Stall, Text

STATUSES = (400, 403, 404, 408, 409, 410, 413, 429, 500, 502, 503, 504)
OTHER_ACTION = 999_999


@dataclasses.dataclass(frozen=True)
class Exchange:
    """The exchange of an undisturbed history that is to be disturbed; `number` counts from 1, `size` in bytes."""

    number: int
    kind: str
    size: int
    action: int | None


@dataclasses.dataclass(frozen=True)
class Trouble:
    """`place` is the kind of request, or of connection, that the fault is ordered for."""

    name: str
    make: Callable[[Exchange], object]
    place: str = "any"


class Refused:
    """Nobody listens on the server's port; no fault of the server itself, see refusal.py."""


def _anyway(make):
    return lambda exchange: make()


def _after(count, kind):
    """A fault once so many bytes of the body have passed, if the body has more."""
    def make(exchange):
        passed = count(exchange.size)
        return kind(passed) if 0 <= passed < exchange.size else None
    return make


def _of_another_action(exchange):
    if exchange.kind not in ("base", "deploymentBase"):
        return None

    def change(document):
        # Artifacts have links with numbers, too.
        return json.loads(json.dumps(document)
                          .replace(f"deploymentBase/{exchange.action}", f"deploymentBase/{OTHER_ACTION}")
                          .replace(f'"id": "{exchange.action}"', f'"id": "{OTHER_ACTION}"'))
    return Mutate(change)


BYTES = {"byte 0": lambda size: 0, "byte 1": lambda size: 1, "half of the body": lambda size: size // 2,
         "all but one byte": lambda size: size - 1}

TROUBLES = [
    Trouble("refused", _anyway(Refused), "connect"),
    Trouble("closed at accept", _anyway(Drop), "accept"),
    Trouble("reset at accept", _anyway(lambda: Drop(ending=Ending.RESET)), "accept"),
    Trouble("silent at accept", _anyway(Stall), "accept"),
    Trouble("closed in the handshake", _anyway(Drop), "handshake"),
    Trouble("silent in the handshake", _anyway(Stall), "handshake"),
    Trouble("closed after the request", _anyway(Drop)),
    Trouble("reset after the request", _anyway(lambda: Drop(ending=Ending.RESET))),
    Trouble("processed, then closed", _anyway(lambda: Drop(processed=True))),
    Trouble("processed, then reset", _anyway(lambda: Drop(processed=True, ending=Ending.RESET))),
    Trouble("silent after the request", _anyway(Stall)),
    Trouble("silent in the head", _anyway(lambda: Stall(20, Part.HEAD))),
    Trouble("cut in the head", _anyway(lambda: Cut(20, Part.HEAD))),
    *(Trouble(f"cut after {name}", _after(count, Cut)) for name, count in BYTES.items()),
    *(Trouble(f"silent after {name}", _after(count, Stall)) for name, count in BYTES.items()),
    *(Trouble(f"status {status}", _anyway(lambda status=status: Code(status))) for status in STATUSES),
    Trouble("half a document", _anyway(lambda: Text('{"id": '))),
    Trouble("another document", _anyway(lambda: Text("[]"))),
    Trouble("another action's document", _of_another_action),
]
