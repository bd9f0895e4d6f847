# SPDX-License-Identifier: Apache-2.0
"""Compares what a gateway sends to the kit's server with what it sent when the scenario was recorded.

The fixtures were recorded before the daemon had any option beyond its first ones. A gateway that sets none of them must
send the same today: the same reports with the same texts, the same requests with the same headers.

Numbers of actions and modules are compared by the order in which they were made; times, ports, and the server's `c` in
its links not at all. How often a gateway polls or reads an offer depends on the machine, and so does whether it reads
that its attributes are wanted before the server knows those that it has sent. All such requests count once.
The server promises no order of modules, so the order of requests is not compared.
"""
from __future__ import annotations

import json
import re
from collections import Counter
from pathlib import Path
from typing import Any

from hawkbit_server import UpdateServer
from recording import FIXTURES, REQUEST_HEADERS

# The real server had another order of several scripts than the kit's has, so they were counted differently.
IN_ANOTHER_ORDER = (
    "links-of-an-id-with-colons-come-back-escaped-and-are-followed",
    "power-cut-during-a-long-release",
)


def fixture_of(scenario: str) -> Path:
    return FIXTURES / f"{scenario}.json"


def can_be_compared(scenario: str) -> bool:
    """Whether there is a fixture, made in the order that the kit's server has."""
    return fixture_of(scenario).exists() and scenario not in IN_ANOTHER_ORDER


class _Numbers:
    """Replaces numbers by their ranks."""

    def __init__(self, actions: list[int], modules: list[int]) -> None:
        self._actions = {number: f"action-{rank}" for rank, number in enumerate(actions, 1)}
        self._modules = {number: f"module-{rank}" for rank, number in enumerate(modules, 1)}

    def path(self, path: str) -> str:
        path = re.sub(r"(/(?:deploymentBase|cancelAction|installedBase)/)(\d+)",
                      lambda found: found[1] + self._actions.get(int(found[2]), found[2]), path)
        path = re.sub(r"(/softwaremodules/)(\d+)",
                      lambda found: found[1] + self._modules.get(int(found[2]), found[2]), path)
        return re.sub(r"(?<=[?&]c=)-?\d+", "c", path)

    def body(self, document: Any) -> str | None:
        """As a text, so that the order of the members counts."""
        if document is None:
            return None
        changed = dict(document)
        if changed.get("id", "").isdecimal():
            changed["id"] = self._actions.get(int(changed["id"]), changed["id"])
        if "time" in changed:
            changed["time"] = re.sub(r"\d", "0", changed["time"])
        return re.sub(r"https://localhost:\d+", "https://localhost", self.path(json.dumps(changed)))


Sent = tuple[str, str, tuple[tuple[str, str], ...], str | None]


def _counted(sent: list[Sent]) -> Counter[Sent]:
    """Requests count once, except for reports."""
    counted = Counter(each for each in sent if each[0] == "POST")
    counted.update({each for each in sent if each[0] != "POST"})
    return counted


def sent_then(scenario: str) -> Counter[Sent]:
    """What the fixture has."""
    steps = json.loads(fixture_of(scenario).read_text(encoding="utf-8"))
    numbers = _Numbers([step["action"] for step in steps if step.get("operator") == "assign"],
                       [step["id"] for step in steps if step.get("operator") == "add module"])
    return _counted([(request["method"], numbers.path(request["path"]), tuple(sorted(request["headers"].items())),
                      numbers.body(request["body"]))
                     for step in steps if (request := step.get("request"))])


def sent_now(server: UpdateServer) -> Counter[Sent]:
    """What the server was sent since it exists."""
    numbers = _Numbers(sorted(server.store.actions), sorted(server.store.modules))
    return _counted([(each.method, numbers.path(each.path + (f"?{each.query}" if each.query else "")),
                      tuple(sorted((name, each.headers[name]) for name in REQUEST_HEADERS
                                   if each.headers.get(name, "*/*") != "*/*")),
                      numbers.body(each.json() if each.body else None))
                     for each in server.exchanges()])


def differences(scenario: str, server: UpdateServer) -> str:
    """One line for each request that is missing or new; empty if there is none."""
    then, now = sent_then(scenario), sent_now(server)
    return "\n".join([*(f"missing: {each}" for each in (then - now).elements()),
                      *(f"new: {each}" for each in (now - then).elements())])
